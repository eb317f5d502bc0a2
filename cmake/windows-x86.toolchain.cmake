# 32-bit Windows (x86) with MinGW-w64, POSIX thread model; tests run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)
set(_triple i686-w64-mingw32)

# The plain ${_triple}-g++ may be the win32 thread model, which has no std::thread.
set(CMAKE_C_COMPILER ${_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${_triple}-windres)

# 64-bit time_t in every translation unit, and SSE arithmetic: for what is not ours, too (KRBuild).
set(CMAKE_C_FLAGS_INIT "-D__MINGW_USE_VC2005_COMPAT -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-D__MINGW_USE_VC2005_COMPAT -msse2 -mfpmath=sse")

list(APPEND CMAKE_FIND_ROOT_PATH /usr/${_triple}) # a user adds the folders of other packages
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../setup/wine-run.sh)

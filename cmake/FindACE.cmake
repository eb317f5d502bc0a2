# Finds ACE and defines the target ACE::ACE.
#
# Windows x86 (MinGW): the build of setup/build-ace-windows.sh. KR_ACE_ROOT names its folder
# (include/, lib/libACE.dll.a, bin/libACE.dll); the default is the per-user cache.
# Elsewhere: the installed package.
include(FindPackageHandleStandardArgs)

if(MINGW)
  if(NOT DEFINED KR_ACE_ROOT)
    if(DEFINED ENV{KRCOMMON_CACHE})
      set(_kr_cache "$ENV{KRCOMMON_CACHE}")
    elseif(DEFINED ENV{XDG_CACHE_HOME})
      set(_kr_cache "$ENV{XDG_CACHE_HOME}/krcommon")
    else()
      set(_kr_cache "$ENV{HOME}/.cache/krcommon")
    endif()
    set(KR_ACE_ROOT "${_kr_cache}/ace-6.5.12-x86-mingw-r1" CACHE PATH "ACE built for x86 Windows")
  endif()
  find_path(ACE_INCLUDE_DIR ace/ACE.h PATHS "${KR_ACE_ROOT}/include"
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  find_file(ACE_LIBRARY libACE.dll.a PATHS "${KR_ACE_ROOT}/lib"
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  find_file(ACE_RUNTIME libACE.dll PATHS "${KR_ACE_ROOT}/bin"
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  set(_kr_ace_required ACE_LIBRARY ACE_INCLUDE_DIR ACE_RUNTIME)
  set(_kr_ace_hint "ACE for x86 Windows is not in ${KR_ACE_ROOT}: run ./kr setup windows")
else()
  find_path(ACE_INCLUDE_DIR ace/ACE.h)
  find_library(ACE_LIBRARY ACE)
  set(_kr_ace_required ACE_LIBRARY ACE_INCLUDE_DIR)
  set(_kr_ace_hint "ACE is not installed: run ./kr setup linux")
endif()

if(ACE_INCLUDE_DIR AND EXISTS "${ACE_INCLUDE_DIR}/ace/Version.h")
  file(STRINGS "${ACE_INCLUDE_DIR}/ace/Version.h" _kr_ace_version REGEX "#define ACE_VERSION ")
  string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" ACE_VERSION "${_kr_ace_version}")
endif()

find_package_handle_standard_args(ACE REQUIRED_VARS ${_kr_ace_required} VERSION_VAR ACE_VERSION
                                  REASON_FAILURE_MESSAGE "${_kr_ace_hint}")

if(ACE_FOUND AND NOT TARGET ACE::ACE)
  find_package(Threads REQUIRED)
  add_library(ACE::ACE UNKNOWN IMPORTED)
  set_target_properties(ACE::ACE PROPERTIES
    IMPORTED_LOCATION "${ACE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}"
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES Threads::Threads)
  if(MINGW)
    # 64-bit seconds change the layout of ACE's classes, so every user needs the first one.
    # The warnings come from ACE's copy constructors, which copy a spare, unset timeval.
    set_target_properties(ACE::ACE PROPERTIES
      INTERFACE_COMPILE_DEFINITIONS
        "__MINGW_USE_VC2005_COMPAT;WIN32_LEAN_AND_MEAN;NOMINMAX"
      INTERFACE_COMPILE_OPTIONS
        "$<$<COMPILE_LANGUAGE:CXX>:-Wno-uninitialized;-Wno-maybe-uninitialized>"
      INTERFACE_LINK_LIBRARIES "Threads::Threads;ws2_32")
  endif()
endif()
mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY ACE_RUNTIME)

# Flags and run-time parts that everything built in this project shares.

# Both compilers are held to one list: clang's -Wconversion alone has -Wsign-conversion in it.
add_library(kr_warnings INTERFACE)
target_compile_options(kr_warnings INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow>
  $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wno-sign-conversion>
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<BOOL:${KR_WERROR}>>:-Werror>)

# Fused multiply-add would round colour arithmetic differently from one machine to another.
add_compile_options(-ffp-contract=off)

if(KR_SANITIZE)
  add_compile_options(-fsanitize=${KR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KR_SANITIZE})
endif()
if(KR_COVERAGE)
  add_compile_options(--coverage -O0 -fprofile-update=atomic) # threads count too
  add_link_options(--coverage)
endif()

if(MINGW)
  # SSE arithmetic, for hosts too: x87 registers round otherwise, and change bits of a NaN that an
  # inline function copies. Like 64-bit seconds it does not hang on our toolchain file: the sources
  # may be part of a host's project, which has its own.
  set(KR_ARITHMETIC -msse2 -mfpmath=sse)
  add_compile_options(${KR_ARITHMETIC})
  add_compile_definitions(__MINGW_USE_VC2005_COMPAT)

  # Before any other target: every program and library is linked with it.
  add_library(kr_time64 STATIC ${CMAKE_CURRENT_LIST_DIR}/time64_shim.c)
  foreach(symbol nanosleep clock_nanosleep clock_gettime clock_getres pthread_cond_timedwait
                 pthread_mutex_timedlock pthread_rwlock_timedrdlock pthread_rwlock_timedwrlock
                 sem_timedwait stat wstat)
    target_link_options(kr_time64 INTERFACE LINKER:--wrap=${symbol})
  endforeach()
  link_libraries(kr_time64)
  # Tables of virtual functions refer to it weakly, and nothing else brings it in: without this a
  # call of a pure virtual function would jump to address 0 instead of ending with its message.
  add_link_options(LINKER:-u,___cxa_pure_virtual)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>) # dlclose really unloads
endif()

# The DLLs that every Windows program here needs beside it, in KR_RUNTIME_DLLS. They are copied
# beside the programs without their debug information, which is most of libstdc++.
function(kr_find_runtime_dlls)
  set(dlls ${ACE_RUNTIME})
  foreach(name libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
                    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT IS_ABSOLUTE "${path}")
      set(path /usr/i686-w64-mingw32/lib/${name})
    endif()
    if(NOT EXISTS "${path}")
      message(FATAL_ERROR "${name} was not found; './kr setup windows' installs it.")
    endif()
    list(APPEND dlls ${path})
  endforeach()
  file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  foreach(dll ${dlls})
    get_filename_component(name ${dll} NAME)
    set(copy ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name})
    execute_process(COMMAND ${CMAKE_STRIP} -o ${copy}.new ${dll} COMMAND_ERROR_IS_FATAL ANY)
    file(RENAME ${copy}.new ${copy})
  endforeach()
  set(KR_RUNTIME_DLLS ${dlls} PARENT_SCOPE)
endfunction()

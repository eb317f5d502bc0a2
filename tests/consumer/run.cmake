# Installs the build, moves the installed tree elsewhere, builds the consumer against it and
# runs it; on Linux also through pkg-config.
#
#   cmake -D BUILD=<build folder> -D SOURCE=<this folder> -D WORK=<scratch folder>
#         [-D TOOLCHAIN=<file>] [-D EMULATOR=<program>] [-D FLAGS=<compiler flags>]
#         -D CXX=<compiler> -D ACE_ROOT=<folder> -D IS_WINDOWS=<bool> -P run.cmake

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed with ${result}: ${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/staged)
file(RENAME ${WORK}/staged ${WORK}/moved)

# Nothing installed may know where it was built.
file(GLOB_RECURSE text_files ${WORK}/moved/*.cmake ${WORK}/moved/*.pc ${WORK}/moved/*.h)
foreach(file ${text_files})
  file(READ ${file} text)
  foreach(folder ${BUILD} ${WORK} ${SOURCE})
    string(FIND "${text}" "${folder}" position)
    if(NOT position EQUAL -1)
      message(FATAL_ERROR "${file} names ${folder}")
    endif()
  endforeach()
endforeach()

set(options -DCMAKE_PREFIX_PATH=${WORK}/moved -DCMAKE_BUILD_TYPE=Release)
if(TOOLCHAIN)
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DKR_ACE_ROOT=${ACE_ROOT}
       -DCMAKE_FIND_ROOT_PATH=${WORK}/moved)
endif()
if(FLAGS)
  list(APPEND options "-DCMAKE_CXX_FLAGS=${FLAGS}")
endif()
run(${CMAKE_COMMAND} -G Ninja -S ${SOURCE} -B ${WORK}/build ${options})
run(${CMAKE_COMMAND} --build ${WORK}/build)

if(IS_WINDOWS)
  # The DLLs are looked for beside the program, and the configuration beside the DLL.
  file(GLOB dlls ${WORK}/moved/bin/*.dll ${WORK}/moved/bin/*.xml)
  file(COPY ${dlls} DESTINATION ${WORK}/build)
  run(${EMULATOR} ${WORK}/build/consumer.exe)
else()
  run(${WORK}/build/consumer)
endif()
message("${output}")

if(NOT IS_WINDOWS)
  file(GLOB_RECURSE pc ${WORK}/moved/*/KRCommon.pc)
  get_filename_component(pc_folder ${pc} DIRECTORY)
  get_filename_component(lib_folder ${pc_folder} DIRECTORY)
  set(ENV{PKG_CONFIG_PATH} ${pc_folder})
  run(pkg-config --cflags --libs KRCommon)
  separate_arguments(flags UNIX_COMMAND "${output} ${FLAGS}")
  run(${CXX} ${SOURCE}/main.cpp -o ${WORK}/build/consumer_pc ${flags} -Wl,-rpath,${lib_folder}
      -pthread)
  run(${WORK}/build/consumer_pc)
  message("pkg-config: ${output}")
endif()

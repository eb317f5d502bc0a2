# Installs the build, copies what is installed to an empty place, and there builds and runs hosts
# with it while the build tree, the sources and the cache are out of sight.
#
#   cmake -D BUILD=<build folder> -D ROOT=<the project's folder> [-D EMULATOR=<program>]
#         [-D FLAGS=<compiler flags>] -D CXX=<compiler> -D ACE_ROOT=<folder>
#         -D IS_WINDOWS=<bool> -P run.cmake

include(${CMAKE_CURRENT_LIST_DIR}/../support/run.cmake)

function(expect_same_files a b)
  run(${CMAKE_COMMAND} -E compare_files ${a} ${b})
endfunction()

set(temporary /tmp)
if(DEFINED ENV{TMPDIR})
  set(temporary $ENV{TMPDIR})
endif()
string(RANDOM LENGTH 8 random)
set(WORK ${temporary}/kr_consumer_${random}) # outside of what is hidden
set(PREFIX ${WORK}/copy)
if(NOT FLAGS) # debug information is what a sanitizer's report needs
  set(strip --strip)
endif()
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed ${strip})
file(RENAME ${WORK}/installed ${PREFIX})

# Nothing installed may know where it was built.
file(GLOB_RECURSE text_files ${PREFIX}/*.cmake ${PREFIX}/*.pc ${PREFIX}/*.h ${PREFIX}/*.md)
foreach(file ${text_files})
  file(READ ${file} text)
  foreach(folder ${BUILD} ${WORK} ${ROOT} ${ACE_ROOT})
    string(FIND "${text}" "${folder}" position)
    if(NOT position EQUAL -1)
      message(FATAL_ERROR "${file} names ${folder}")
    endif()
  endforeach()
endforeach()

# An edited configuration is kept, one that is as it was installed is replaced.
file(GLOB_RECURSE configuration ${PREFIX}/*/KRCommon.xml)
foreach(edition "edited" "of an earlier version")
  file(WRITE ${configuration} "${edition}")
  if(NOT edition STREQUAL "edited")
    file(WRITE ${configuration}.default "${edition}")
  endif()
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${PREFIX} ${strip})
  expect_same_files(${configuration}.default ${ROOT}/config/KRCommon.xml)
  file(READ ${configuration} text)
  if(edition STREQUAL "edited" AND NOT (text STREQUAL "edited" AND output MATCHES "Kept the edited "))
    message(FATAL_ERROR "the edited configuration is lost, or it is not told:\n${output}")
  endif()
endforeach()
expect_same_files(${configuration} ${ROOT}/config/KRCommon.xml)
expect_same_files(${PREFIX}/share/doc/KRCommon/licences/colour_survey.txt
                  ${ROOT}/config/survey/LICENSE)

if(IS_WINDOWS)
  # Small, and with the licences of all that is not ours.
  set(size 0)
  file(GLOB dlls ${PREFIX}/bin/*.dll)
  foreach(dll ${dlls})
    file(SIZE ${dll} one)
    math(EXPR size "${size} + ${one}")
  endforeach()
  if(size GREATER 8000000)
    message(FATAL_ERROR "the DLLs have ${size} bytes")
  endif()
  foreach(licence "ACE=Washington University" "libgcc_s_dw2-1=GCC RUNTIME LIBRARY EXCEPTION"
          "libstdc++-6=GCC RUNTIME LIBRARY EXCEPTION" "libwinpthread-1=winpthreads"
          "GPL-3=Version 3, 29 June 2007")
    string(REGEX REPLACE "=.*" "" name ${licence})
    string(REGEX REPLACE ".*=" "" words ${licence})
    file(READ ${PREFIX}/share/doc/KRCommon/licences/${name}.txt text)
    if(NOT text MATCHES "${words}")
      message(FATAL_ERROR "${name}.txt is not the licence")
    endif()
  endforeach()
endif()

# The hosts. Where the system lets us, in a name space of our own with empty folders over the project
# and the cache, so that nothing can be taken from there unseen.
file(COPY ${CMAKE_CURRENT_LIST_DIR}/ DESTINATION ${WORK}/host)
file(COPY ${CMAKE_CURRENT_LIST_DIR}/../support/run.cmake DESTINATION ${WORK}/host/support)
if(IS_WINDOWS)
  set(system windows)
else()
  set(system linux)
endif()
set(platform ${ROOT}/KRCommon/platform)
foreach(name Platform Process)
  file(COPY ${platform}/${system}/${name}_testing.cpp DESTINATION ${WORK}/host/soak)
  file(COPY ${platform}/${name}_testing.h DESTINATION ${WORK}/host/soak/KRCommon/platform)
endforeach()
file(COPY ${ROOT}/tests/soak/soak.cpp DESTINATION ${WORK}/host/soak)
file(COPY ${ROOT}/tests/support/Sanitizers.h DESTINATION ${WORK}/host/soak/tests/support)
file(MAKE_DIRECTORY ${WORK}/empty)
set(build_hosts ${CMAKE_COMMAND} -D WORK=${WORK} -D PREFIX=${PREFIX} -D CXX=${CXX} -D FLAGS=${FLAGS}
    -D IS_WINDOWS=${IS_WINDOWS} -P ${WORK}/host/hosts.cmake)
execute_process(
  COMMAND unshare --map-root-user --mount mount --bind ${WORK}/empty ${WORK}/empty
  RESULT_VARIABLE result ERROR_QUIET)
cmake_path(IS_PREFIX ROOT ${WORK} NORMALIZE is_inside)
if(result EQUAL 0 AND NOT is_inside)
  set(script "cd ${WORK}")
  foreach(folder ${BUILD} ${ACE_ROOT} ${ROOT})
    string(APPEND script " && mount --bind empty ${folder}")
  endforeach()
  set(build_hosts unshare --map-root-user --mount sh -c "${script} && exec \"$@\"" sh ${build_hosts})
else()
  message("not hidden, only out of every path: no name spaces here, or a temporary folder in the project")
endif()
# Without the sanitizer's file of suppressions, which is hidden too.
run(${CMAKE_COMMAND} -E env --unset=TSAN_OPTIONS HOME=${WORK}/empty XDG_CACHE_HOME=${WORK}/empty
    KRCOMMON_CACHE=${WORK}/empty ${build_hosts})
message("${output}")

if(IS_WINDOWS)
  file(GLOB programs ${WORK}/hosts/*.exe)
  foreach(program ${programs})
    run(${CMAKE_COMMAND} -E chdir ${WORK}/hosts ${EMULATOR} ${program})
    message("${program}: ${output}")
  endforeach()
  run(${EMULATOR} ${WORK}/soak/soak.exe ${WORK}/soak/logs 5)
  message("${output}")
endif()
file(REMOVE_RECURSE ${WORK})

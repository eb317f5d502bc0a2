# Set-up on a machine that lacks everything, for a user without root's rights: it says once what is to
# be installed, and changes nothing.
#
#   cmake -D ROOT=<the project's folder> -D WORK=<scratch folder> -P run.cmake

# Programs that take the place of the system's.
function(fake name text)
  file(WRITE ${WORK}/bin/${name} "#!/bin/sh\n${text}\n")
  file(CHMOD ${WORK}/bin/${name} PERMISSIONS OWNER_READ OWNER_EXECUTE)
endfunction()

file(REMOVE_RECURSE ${WORK})
fake(dpkg-query "exit 1")
fake(dpkg "[ \"$1\" = --print-foreign-architectures ] || touch ${WORK}/changed")
fake(id "echo 1000")
fake(sudo "exit 1")
fake(apt-get "touch ${WORK}/changed")

file(READ ${ROOT}/setup/packages.sh text)
string(REGEX MATCHALL "[a-z0-9+.-]+-dev" libraries "${text}")
execute_process(COMMAND ${CMAKE_COMMAND} -E env PATH=${WORK}/bin:$ENV{PATH} KRCOMMON_CACHE=${WORK}/cache
                        ${ROOT}/setup/setup.sh linux windows bench linux-package
                INPUT_FILE /dev/null RESULT_VARIABLE result OUTPUT_VARIABLE output
                ERROR_VARIABLE errors)
string(REGEX MATCHALL "apt-get install[^\n]*" lines "${output}")
list(LENGTH lines count)
if(NOT result EQUAL 1 OR NOT count EQUAL 1)
  message(FATAL_ERROR "ended with ${result}:\n${output}${errors}")
endif()
foreach(package g\\+\\+ wine32:i386 ${libraries})
  string(REPLACE "libclang-rt-14-dev" "" package "${package}") # no part of these
  if(NOT lines MATCHES " ${package}")
    message(FATAL_ERROR "does not name ${package}:\n${output}")
  endif()
endforeach()
if(NOT output MATCHES "dpkg --add-architecture i386; apt-get update; apt-get install ")
  message(FATAL_ERROR "does not name every command:\n${output}")
endif()
if(EXISTS ${WORK}/changed OR EXISTS ${WORK}/cache)
  message(FATAL_ERROR "something was changed:\n${output}")
endif()

# The library alone asks for little.
execute_process(COMMAND ${CMAKE_COMMAND} -E env PATH=${WORK}/bin:$ENV{PATH} KRCOMMON_CACHE=${WORK}/cache
                        ${ROOT}/setup/setup.sh library
                INPUT_FILE /dev/null OUTPUT_VARIABLE output)
if(NOT output MATCHES "install --no-install-recommends cmake g\\+\\+ libace-dev ninja-build\n")
  message(FATAL_ERROR "the library needs more than it should:\n${output}")
endif()
message("asks once, and for what is missing")

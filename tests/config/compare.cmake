# Compares what the library's reader says of the sample documents with what is expected of it, and
# with what xmllint says by the schema.
#
#   cmake -D PROGRAM=<config_verdicts> [-D EMULATOR=<program>] -D XMLLINT=<program>
#         -D SCHEMA=<KRCommon.xsd> -D SAMPLES=<this folder> -P compare.cmake
#
# SAMPLES holds
#   good/*.xml       which both accept, as they do the KRCommon.xml beside the schema
#   bad/*.xml        which both refuse
#   expected.txt     what the reader says of each file in bad/: "bad/name.xml: <error text>"
#   differences.txt  where xmllint says the opposite, and why: "<folder>/name.xml: <reason>"

cmake_minimum_required(VERSION 3.25)

set(failures "")
file(GLOB good RELATIVE ${SAMPLES} ${SAMPLES}/good/*.xml)
file(GLOB bad RELATIVE ${SAMPLES} ${SAMPLES}/bad/*.xml)
list(LENGTH good good_count)
list(LENGTH bad bad_count)
if(good_count LESS 12 OR bad_count LESS 40)
  message(FATAL_ERROR "only ${good_count} good and ${bad_count} bad samples in ${SAMPLES}")
endif()
get_filename_component(default ${SCHEMA} DIRECTORY)
file(RELATIVE_PATH default ${SAMPLES} ${default}/KRCommon.xml)
list(APPEND good ${default})

# What the reader says, word by word.
execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${good} ${bad} WORKING_DIRECTORY ${SAMPLES}
                RESULT_VARIABLE result OUTPUT_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} failed with ${result}:\n${output}")
endif()
string(REPLACE "\r" "" output "${output}")
string(REGEX REPLACE "\n$" "" output "${output}")
string(REPLACE "\n" ";" verdicts "${output}")

file(STRINGS ${SAMPLES}/expected.txt expected)
list(TRANSFORM good APPEND ": accepted" OUTPUT_VARIABLE accepted)
list(APPEND expected ${accepted})

foreach(verdict IN LISTS verdicts)
  if(NOT verdict IN_LIST expected)
    string(APPEND failures "not expected: ${verdict}\n")
  endif()
endforeach()
foreach(verdict IN LISTS expected)
  if(NOT verdict IN_LIST verdicts)
    string(APPEND failures "expected: ${verdict}\n")
  endif()
endforeach()

# What xmllint says, yes or no.
file(STRINGS ${SAMPLES}/differences.txt differences)
list(TRANSFORM differences REPLACE ": .*" "")
foreach(file IN LISTS differences)
  if(NOT file IN_LIST good AND NOT file IN_LIST bad)
    string(APPEND failures "differences.txt names ${file}, which does not exist\n")
  endif()
endforeach()

foreach(file IN LISTS good bad)
  execute_process(COMMAND ${XMLLINT} --nonet --noout --schema ${SCHEMA} ${file}
                  WORKING_DIRECTORY ${SAMPLES} RESULT_VARIABLE result
                  OUTPUT_QUIET ERROR_VARIABLE messages)
  if(NOT result MATCHES "^[0-9]+$" OR messages MATCHES "Schemas parser error")
    message(FATAL_ERROR "${XMLLINT} failed with ${result}:\n${messages}")
  endif()
  if(result EQUAL 0)
    set(verdict "accepts")
  else()
    set(verdict "refuses")
  endif()
  if(file IN_LIST good)
    set(wanted "accepts")
  else()
    set(wanted "refuses")
  endif()
  if(file IN_LIST differences AND verdict STREQUAL wanted)
    string(APPEND failures "xmllint agrees on ${file}, which differences.txt denies\n")
  elseif(NOT file IN_LIST differences AND NOT verdict STREQUAL wanted)
    string(APPEND failures "xmllint ${verdict} ${file}:\n${messages}\n")
  endif()
endforeach()

if(failures)
  message(FATAL_ERROR "${failures}")
endif()
list(LENGTH differences difference_count)
message("${good_count} good and ${bad_count} bad samples and the default file, "
        "${difference_count} known differences from xmllint")

# krtool log on the files of a running host, in processes of their own.
#
#   cmake -D EMULATOR=<of Windows programs> -D HOST=<log_host> -D KRTOOL=<krtool> -D FOLDER=<scratch>
#         -P log_host_test.cmake
execute_process(COMMAND ${EMULATOR} ${HOST} ${FOLDER} 1 RESULT_VARIABLE result OUTPUT_VARIABLE told)
if(NOT result EQUAL 0 OR NOT told MATCHES "([0-9]+) lines logged")
  message(FATAL_ERROR "log_host failed with ${result}: ${told}")
endif()
set(logged ${CMAKE_MATCH_1})

# expect(LINES REGEX ARGUMENT...): krtool tells so many lines that match.
function(expect count regex)
  execute_process(COMMAND ${EMULATOR} ${KRTOOL} log ${FOLDER} ${ARGN}
                  RESULT_VARIABLE result OUTPUT_FILE ${FOLDER}.out ERROR_VARIABLE errors)
  file(STRINGS ${FOLDER}.out lines REGEX "${regex}")
  list(LENGTH lines found)
  if(NOT result EQUAL 0 OR NOT found EQUAL count)
    message(FATAL_ERROR "krtool log ${ARGN}: ${found} lines of ${count}, exit code ${result}\n${errors}")
  endif()
endfunction()

expect(${logged} "^[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9]+ T[0-9]+[ *][A-Z]+ ")
expect(${logged} "^{\"schema_version\":1,\"kind\":\"line\",.*\"level\":\"(DBG|INF|ERR|EMR)\"" --json)
expect(4 "going down" --level emr)
expect(1 " EMR  camera-<n>: going down" --count --level emr)
file(REMOVE ${FOLDER}.out)

# A reader that goes away is no error to tell of.
if(NOT EMULATOR)
  execute_process(COMMAND ${KRTOOL} log ${FOLDER} --json COMMAND ${CMAKE_COMMAND} -E true
                  ERROR_VARIABLE errors)
  if(errors)
    message(FATAL_ERROR "a broken pipe: ${errors}")
  endif()
endif()

# krtool record on a store as the video search leaves it today, in processes of their own.
#
#   cmake -D EMULATOR=<of Windows programs> -D SEARCH=<kr_search> -D KRTOOL=<krtool> -D STORE=<an older store>
#         -D FOLDER=<scratch> -P store_test.cmake
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
file(COPY_FILE ${STORE} ${FOLDER}/a.store)
execute_process(COMMAND ${EMULATOR} ${SEARCH} --store a.store --logs logs WORKING_DIRECTORY ${FOLDER}
                RESULT_VARIABLE result OUTPUT_VARIABLE told ERROR_VARIABLE told)
if(NOT result EQUAL 0 OR NOT told MATCHES "6 of 6 objects match")
  message(FATAL_ERROR "kr_search: exit code ${result}: ${told}")
endif()
file(READ ${FOLDER}/a.store version OFFSET 60 LIMIT 4 HEX)
if(version STREQUAL "00000001")
  message(FATAL_ERROR "kr_search has left the store as it was, so this tests nothing")
endif()
execute_process(COMMAND ${EMULATOR} ${KRTOOL} record verify --json a.store WORKING_DIRECTORY ${FOLDER}
                RESULT_VARIABLE result OUTPUT_VARIABLE told ERROR_VARIABLE told)
if(NOT result EQUAL 0 OR NOT told MATCHES "\"records\": *6")
  message(FATAL_ERROR "krtool record verify: exit code ${result}: ${told}")
endif()

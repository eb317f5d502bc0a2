# Compares the binary interface of krcommon_c.h with the checked-in one.
#
#   cmake -D PROGRAM=<layout program> -D EMULATOR=<for it> -D LIST=<list> [-D UPDATE=ON] -P check.cmake
#
# UPDATE=ON writes the list instead. A line that is gone or changed breaks hosts that are out there: lines may
# be added at the end of a struct and anywhere else.

execute_process(COMMAND ${EMULATOR} ${PROGRAM} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\r" "" text "${text}")
string(REGEX MATCHALL "\n(struct|kr_c_error) kr_c_" found "${text}")
list(LENGTH found count)
if(count LESS 100)
  message(FATAL_ERROR "only ${count} structs and functions are seen in the header")
endif()
if(UPDATE)
  file(WRITE ${LIST} "${text}")
  return()
endif()
file(READ ${LIST} expected)
if(NOT text STREQUAL expected)
  file(WRITE ${PROGRAM}.txt "${text}")
  execute_process(COMMAND diff -u ${LIST} ${PROGRAM}.txt OUTPUT_VARIABLE difference)
  get_filename_component(name ${LIST} NAME)
  message(FATAL_ERROR "the C interface differs from tests/c_abi/${name}:\n${difference}")
endif()

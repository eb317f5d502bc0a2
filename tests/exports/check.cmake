# Compares what the library exports with the checked-in list.
#
#   cmake -D LIBRARY=<file> -D LIST=<list> -D READER=<nm|objdump> -D FILTER=<c++filt>
#         -D IS_WINDOWS=<bool> [-D UPDATE=ON] -P check.cmake
#
# UPDATE=ON writes the list instead; look at the difference before it is committed.

if(IS_WINDOWS)
  execute_process(COMMAND ${READER} -p ${LIBRARY} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  # "[   0] _ZN..." below "[Ordinal/Name Pointer] Table", up to an empty line
  string(REGEX REPLACE ".*\\[Ordinal/Name Pointer\\] Table\n" "" text "${text}")
  string(REGEX REPLACE "\n\n.*" "" text "${text}")
  string(REGEX MATCHALL "\\[ *[0-9]+\\] [A-Za-z_][^\n]*" rows "${text}")
  list(TRANSFORM rows REPLACE "^\\[ *[0-9]+\\] " "")
else()
  execute_process(COMMAND ${READER} -D --defined-only -P ${LIBRARY} OUTPUT_VARIABLE text
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" rows "${text}")
  list(TRANSFORM rows REPLACE " .*$" "")
endif()
list(JOIN rows "\n" text)
file(WRITE ${LIST}.mangled.tmp "${text}\n")
execute_process(COMMAND ${FILTER} INPUT_FILE ${LIST}.mangled.tmp OUTPUT_VARIABLE text
                COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE ${LIST}.mangled.tmp)

string(REPLACE ";" "<semicolon>" text "${text}")
string(REGEX MATCHALL "[^\n]+" rows "${text}")
list(SORT rows)
list(REMOVE_DUPLICATES rows) # constructors have several symbols of one name
list(JOIN rows "\n" text)
string(REPLACE "<semicolon>" ";" text "${text}\n")

if(UPDATE)
  file(WRITE ${LIST} "${text}")
  return()
endif()
file(READ ${LIST} expected)
if(NOT text STREQUAL expected)
  get_filename_component(name ${LIST} NAME)
  message(FATAL_ERROR "the library's exports differ from tests/exports/${name}:\n${text}")
endif()

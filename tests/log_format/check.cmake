# Compiles each case of rejected.cpp and looks for the message that its author is to read.
#
#   cmake -D CXX=<compiler> "-D FLAGS=<flags>" "-D INCLUDES=<folders>" -D SOURCE=<rejected.cpp> -P check.cmake

separate_arguments(flags UNIX_COMMAND "${FLAGS}")
list(REMOVE_ITEM INCLUDES /usr/include) # the compiler's own order matters there
foreach(folder ${INCLUDES})
  list(APPEND flags -isystem ${folder})
endforeach()
set(messages
    ""
    "a directive without an argument"
    "an argument has no directive"
    "%s, %C and %p take a text"
    "%d, %i and %c take an int"
    "%d, %i and %c take an int"
    "%Q takes an unsigned 64-bit integer"
    "%l is the line number"
    "an argument is a number, an enumeration or a text"
    "a '%' that should be '%%'"
    "captured"
    "a directive without an argument")
set(case 0)
foreach(message IN LISTS messages)
  execute_process(COMMAND ${CXX} -std=c++17 ${flags} -fsyntax-only -DCASE=${case} ${SOURCE}
                  RESULT_VARIABLE result ERROR_VARIABLE output)
  if(case EQUAL 0 AND NOT result EQUAL 0)
    message(FATAL_ERROR "a good line does not compile:\n${output}")
  elseif(case GREATER 0)
    string(FIND "${output}" "${message}" position)
    if(result EQUAL 0 OR position EQUAL -1)
      message(FATAL_ERROR "case ${case} gives ${result}, not the message \"${message}\":\n${output}")
    endif()
    string(FIND "${output}" "rejected.cpp" position)
    if(position EQUAL -1)
      message(FATAL_ERROR "case ${case} does not name the place:\n${output}")
    endif()
  endif()
  math(EXPR case "${case} + 1")
endforeach()
message("${case} cases: the good one compiles, the others tell why not")

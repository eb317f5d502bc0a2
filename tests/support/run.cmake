# run(COMMAND...): runs it; its output is left in the variable output, a failure ends the script.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "failed with ${result}: ${command}\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

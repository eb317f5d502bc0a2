# kr_cached(NAME VARIABLE): the folder that setup/cache.sh calls NAME, anew at each configuration,
# so that a build folder follows when a version or recipe changes.
function(kr_cached name variable)
  execute_process(COMMAND sh ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/../setup/cache.sh ${name}
                  OUTPUT_VARIABLE folder OUTPUT_STRIP_TRAILING_WHITESPACE
                  COMMAND_ERROR_IS_FATAL ANY)
  set(${variable} ${folder} PARENT_SCOPE)
endfunction()

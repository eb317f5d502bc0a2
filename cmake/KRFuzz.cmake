# kr_fuzzer(NAME): fuzz/NAME_fuzz.cpp with its corpus fuzz/corpus/NAME.
#
# With KR_FUZZ it becomes the libFuzzer program NAME_fuzz. In every other build with tests it becomes
# NAME_replay, which runs the whole corpus once, as the test Fuzz.NAME.
function(kr_fuzzer name)
  if(KR_FUZZ)
    add_executable(${name}_fuzz ${name}_fuzz.cpp)
    target_link_libraries(${name}_fuzz PRIVATE kr_warnings krcommon_linked)
    target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
  else()
    add_executable(${name}_replay ${name}_fuzz.cpp replay_main.cpp)
    target_link_libraries(${name}_replay PRIVATE kr_warnings krcommon_linked)
    add_test(NAME Fuzz.${name}
             COMMAND ${name}_replay ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name})
  endif()
endfunction()

# The build of one folder of the library, one call a folder.
#
#   kr_module(NAME [HEADERS x.h ...] SOURCES x.cpp ... [TESTS x_test.cpp ...]
#             [BENCHES x_bench.cpp ...] [PEER_BENCHES x_peers_bench.cpp ...]
#             [TEST_LIBRARIES t ...] [BENCH_LIBRARIES t ...])
#
# adds the sources to the library and makes the programs NAME_tests and NAME_bench of the rest.
# Both are linked from the library's objects, so that internals stay testable. HEADERS are the public
# ones, which are installed; what is not named there is internal. PEER_BENCHES are those that need
# the libraries that the benchmarks compare with, BENCH_LIBRARIES.

include(GoogleTest)

# The folders whose benchmarks do without the libraries that they compare with, which Windows lacks.
set(KR_WINDOWS_BENCHES util colors objects frame)

# The test programs that loop millions of times. The others are compiled without optimisation, in half
# the time; what they test is optimised as ever. Functions and lines are enough for a debugger there.
set(KR_OPTIMIZED_TESTS colors_tests kernels_tests large_text_tests objects_tests)
set(KR_TEST_OPTIONS $<$<CONFIG:RelWithDebInfo>:-O0> -g1)

macro(kr_use_googletest)
  set(BUILD_SHARED_LIBS OFF)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  # From source: with this build's sanitizers and this build's time_t.
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  kr_precompile_test_headers(kr_test_headers ${KR_TEST_OPTIONS})
  kr_precompile_test_headers(kr_optimized_test_headers -g1)
endmacro()

# What most tests include, compiled once for those with the same options: a quarter of their time. Not
# for clang, whose build so finds the test that forgets an include.
function(kr_precompile_test_headers name)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    return()
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "// a program without tests\n")
  add_executable(${name} EXCLUDE_FROM_ALL ${source}) # as the tests are, for the same options
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  target_compile_options(${name} PRIVATE ${ARGN} -fpch-preprocess) # the latter for ccache
  target_link_libraries(${name} PRIVATE kr_warnings ACE::ACE GTest::gtest_main GTest::gmock)
  target_precompile_headers(${name} PRIVATE <algorithm> <array> <atomic> <chrono> <cstdint> <cstring>
    <filesystem> <fstream> <map> <memory> <string> <thread> <vector> <gmock/gmock.h> <gtest/gtest.h>)
endfunction()

# kr_test(NAME SOURCES ... LIBRARIES ... [ALONE]): a GoogleTest program, each of its tests a ctest of its
# own. Tests that wait in real time are in suites whose names end in "_Slow": they get the label
# slow and start first, so that the others run beside them. ALONE: under a sanitizer, which makes all
# slower, the tests do not run beside others.
function(kr_test name)
  cmake_parse_arguments(arg "ALONE" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE kr_warnings ${arg_LIBRARIES} GTest::gtest_main GTest::gmock)
  set(headers kr_test_headers)
  set(options ${KR_TEST_OPTIONS})
  if(name IN_LIST KR_OPTIMIZED_TESTS)
    set(headers kr_optimized_test_headers)
    set(options -g1)
  endif()
  target_compile_options(${name} PRIVATE ${options})
  if(TARGET ${headers})
    target_compile_options(${name} PRIVATE -fpch-preprocess)
    target_precompile_headers(${name} REUSE_FROM ${headers})
    set_target_properties(${name} PROPERTIES PCH_WARN_INVALID OFF) # some have definitions of their own
  endif()
  set(properties TIMEOUT 120)
  if(KR_SANITIZE)
    set(properties TIMEOUT 300)
    if(arg_ALONE)
      list(APPEND properties RUN_SERIAL TRUE)
    endif()
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_FILTER "-*_Slow.*"
                       PROPERTIES ${properties})
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_FILTER "*_Slow.*"
                       PROPERTIES TIMEOUT 300 LABELS slow COST 1000)
endfunction()

# kr_test_with_instructions(NAME): runs the whole test program NAME once more with each set of
# instructions; skipped where the processor lacks one.
function(kr_test_with_instructions name)
  set(sets portable)
  if(NOT KR_PORTABLE)
    list(APPEND sets sse2 ssse3 "ssse3 sha aes" "avx2 sha aes" "avx512 sha aes")
  endif()
  target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/Instructions_Environment.cpp)
  set(left_out *_Slow.*)
  if(KR_SANITIZE) # what tries all values takes minutes then, and finds no other access than some values do
    string(APPEND left_out ":*Three_Bytes*:*EveryDay*:*AMebibyte*")
  endif()
  foreach(set ${sets})
    string(REPLACE " " "_" label ${set})
    add_test(NAME Instructions.${name}.${label} COMMAND ${name} --gtest_filter=-${left_out})
    set_tests_properties(Instructions.${name}.${label} PROPERTIES TIMEOUT 300
      ENVIRONMENT "KR_INSTRUCTIONS=${set}"
      SKIP_REGULAR_EXPRESSION "no test runs: the processor has not all of")
  endforeach()
endfunction()

# kr_bench(NAME SOURCES ... LIBRARIES ...): a Google Benchmark program.
function(kr_bench name)
  cmake_parse_arguments(arg "ALONE" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE kr_warnings ${arg_LIBRARIES}
                        benchmark::benchmark_main)
  set_property(GLOBAL APPEND PROPERTY KR_BENCHES ${name})
endfunction()

function(kr_module name)
  cmake_parse_arguments(arg "" "" "HEADERS;SOURCES;TESTS;BENCHES;PEER_BENCHES;TEST_LIBRARIES;BENCH_LIBRARIES" ${ARGN})
  install(FILES ${arg_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/${name})
  list(TRANSFORM arg_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(krcommon_objects PRIVATE ${arg_SOURCES})
  if(KR_TESTS AND arg_TESTS)
    kr_test(${name}_tests SOURCES ${arg_TESTS} LIBRARIES krcommon_linked ${arg_TEST_LIBRARIES})
  endif()
  if(WIN32 AND NOT name IN_LIST KR_WINDOWS_BENCHES)
    set(arg_BENCHES "")
  endif()
  if(KR_BENCHMARKS AND arg_BENCHES)
    if(WIN32)
      set(arg_PEER_BENCHES "")
      set(arg_BENCH_LIBRARIES "")
    endif()
    kr_bench(${name}_bench SOURCES ${arg_BENCHES} ${arg_PEER_BENCHES}
             LIBRARIES krcommon_linked ${arg_BENCH_LIBRARIES})
  endif()
endfunction()

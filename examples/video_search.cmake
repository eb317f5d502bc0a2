# Builds examples/video_search as its users would: the library is installed into a folder of the
# build, and the project is configured and built against that copy. Its tests join ours.
include(ExternalProject)
set(stage ${CMAKE_BINARY_DIR}/stage)
set(folder ${CMAKE_BINARY_DIR}/video_search)

set(options
  -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DCMAKE_PREFIX_PATH=${stage}
  -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DVIDEO_SEARCH_TESTS=${KR_TESTS}
  -DVIDEO_SEARCH_WERROR=${KR_WERROR})
if(KR_SANITIZE)
  set(flags "-fsanitize=${KR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all")
elseif(KR_COVERAGE)
  set(flags "--coverage")
endif()
if(flags)
  list(APPEND options -DCMAKE_CXX_FLAGS=${flags})
endif()
if(WIN32)
  if(NOT KR_SQLITE_ROOT) # built by setup/build-sqlite-windows.sh
    kr_cached(SQLITE_ROOT_WINDOWS KR_SQLITE_ROOT)
  endif()
  if(NOT EXISTS ${KR_SQLITE_ROOT}/.complete)
    message(FATAL_ERROR "SQLite for x86 Windows is not in ${KR_SQLITE_ROOT}: run ./kr setup windows")
  endif()
  list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}
       -DCMAKE_FIND_ROOT_PATH=${stage}$<SEMICOLON>${KR_SQLITE_ROOT})
endif()

ExternalProject_Add(video_search
  SOURCE_DIR ${CMAKE_CURRENT_SOURCE_DIR}/video_search
  BINARY_DIR ${folder}
  PREFIX ${folder}/external
  CMAKE_GENERATOR ${CMAKE_GENERATOR}
  CMAKE_ARGS ${options}
  INSTALL_COMMAND ""
  BUILD_ALWAYS ON
  USES_TERMINAL_BUILD ON)
ExternalProject_Add_Step(video_search stage
  COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --prefix ${stage}
  COMMENT "Installing the library for video_search"
  DEPENDERS configure ALWAYS ON)
ExternalProject_Add_StepDependencies(video_search stage KRCommon)

if(KR_TESTS)
  set(list ${CMAKE_BINARY_DIR}/video_search_tests.cmake)
  file(WRITE ${list} "subdirs(\"${folder}\")\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${list})
endif()

# kr_host_project(NAME FOLDER [OPTIONS -D... ...] [FIND_ROOTS path ...]): builds the
# project in FOLDER as its users would: the library is installed into a folder of the build, and the
# project is configured and built against that copy. Its tests join ours. FIND_ROOTS: where, for
# Windows, its other dependencies are looked for.
include(ExternalProject)

function(kr_host_project name source)
  cmake_parse_arguments(arg "" "" "OPTIONS;FIND_ROOTS" ${ARGN})
  set(stage ${CMAKE_BINARY_DIR}/stage)
  set(folder ${CMAKE_BINARY_DIR}/${name})
  if(NOT TARGET stage)
    add_custom_target(stage COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --prefix ${stage}
                      COMMENT "Installing the library for its hosts" VERBATIM)
    add_dependencies(stage KRCommon)
  endif()

  set(options -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DCMAKE_PREFIX_PATH=${stage}
      -DCMAKE_EXPORT_COMPILE_COMMANDS=ON ${arg_OPTIONS}
      # functions and lines alone: a quarter less to compile; the debug build, which is that for
      # AddressSanitizer, goes through all colors many times in its tests
      "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -g1 -DNDEBUG" "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1")
  if(KR_SANITIZE)
    set(flags "-fsanitize=${KR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all")
    string(APPEND flags " -Wno-maybe-uninitialized") # gcc sees what is not there in std::regex
  elseif(KR_COVERAGE)
    set(flags "--coverage")
  endif()
  if(flags)
    list(APPEND options -DCMAKE_CXX_FLAGS=${flags})
  endif()
  if(KR_REPRODUCIBLE)
    list(APPEND options -DCMAKE_PROJECT_INCLUDE=${PROJECT_SOURCE_DIR}/cmake/KRReproducible.cmake
         -DKR_ACE_ROOT=${KR_ACE_ROOT} -DKR_SQLITE_ROOT=${KR_SQLITE_ROOT}
         -DKR_SERVE_ROOT=${KR_SERVE_ROOT})
  endif()
  if(WIN32)
    list(PREPEND arg_FIND_ROOTS ${stage})
    list(JOIN arg_FIND_ROOTS "$<SEMICOLON>" roots)
    list(APPEND options -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE}
         -DCMAKE_FIND_ROOT_PATH=${roots})
  endif()

  ExternalProject_Add(${name}
    SOURCE_DIR ${source}
    BINARY_DIR ${folder}
    PREFIX ${folder}/external
    CMAKE_GENERATOR ${CMAKE_GENERATOR}
    CMAKE_ARGS ${options}
    INSTALL_COMMAND ""
    BUILD_ALWAYS ON
    USES_TERMINAL_BUILD ON
    STEP_TARGETS configure # ./kr package builds the programs alone
    DEPENDS stage)

  if(KR_TESTS)
    set(list ${CMAKE_BINARY_DIR}/${name}_tests.cmake)
    file(WRITE ${list} "subdirs(\"${folder}\")\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${list})
  endif()
endfunction()

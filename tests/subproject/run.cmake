# Adds the library's sources to a host's project that has another KRSOAP package: that package's
# types are used, and the host keeps its own build type and warnings.
#
#   cmake -D KRCOMMON=<source folder> -D WORK=<scratch folder> -D SYSTEM=<Linux|Windows>
#         -D CC=<compiler> -D CXX=<compiler> -D SUFFIX=<that of an object file> -P run.cmake

include(${CMAKE_CURRENT_LIST_DIR}/../support/run.cmake)

# The other package: the stand-in's types, one of them with a field more.
file(REMOVE_RECURSE ${WORK})
set(package ${WORK}/package)
file(READ ${KRCOMMON}/krsoap/include/krsoap/krsoap.h types)
string(REPLACE "std::int32_t word2 = 1;" "std::int32_t word2 = 1;\n    int field_of_the_other_package = 0;"
       other_types "${types}")
if(other_types STREQUAL types)
  message(FATAL_ERROR "the stand-in has changed: choose another field")
endif()
file(WRITE ${package}/include/krsoap/krsoap.h "${other_types}")
file(WRITE ${package}/lib/cmake/KRSOAP/KRSOAPConfig.cmake
     "add_library(KRSOAP::krsoap INTERFACE IMPORTED)
target_include_directories(KRSOAP::krsoap INTERFACE \${CMAKE_CURRENT_LIST_DIR}/../../../include)\n")

set(options -DKRCOMMON_SOURCE=${KRCOMMON} -DCMAKE_PREFIX_PATH=${package}
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_BUILD_TYPE= -DCMAKE_C_COMPILER=${CC}
    -DCMAKE_CXX_COMPILER=${CXX})
if(SYSTEM STREQUAL "Windows") # without our toolchain file
  list(APPEND options -DCMAKE_SYSTEM_NAME=Windows)
endif()
run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/build ${options})

file(READ ${WORK}/build/compile_commands.json commands)
if(commands MATCHES "-Werror")
  message(FATAL_ERROR "a host's compiler may warn of other things than ours")
endif()

# One source of the library, and the host's.
set(object krcommon/KRCommon/CMakeFiles/krcommon_objects.dir/objects/Objects.cpp${SUFFIX})
run(${CMAKE_COMMAND} --build ${WORK}/build --target host ${object})
run(ninja -C ${WORK}/build -t deps ${object})
string(REGEX MATCHALL "[^ \n]*krsoap\\.h" headers "${output}")
if(NOT headers MATCHES "^[^;]*/package/include/krsoap/krsoap\\.h$")
  message(FATAL_ERROR "the library is not compiled with the other package alone: ${headers}")
endif()

# The same by FetchContent.
run(${CMAKE_COMMAND} -G Ninja -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/fetched ${options}
    -DWITH_FETCH_CONTENT=ON)
run(${CMAKE_COMMAND} --build ${WORK}/fetched --target host)
message("the other package's types are used")

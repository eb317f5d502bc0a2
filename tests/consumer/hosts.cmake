# Part of run.cmake, which copies it beside the hosts: builds them in WORK with what lies in PREFIX, by
# CMake, by pkg-config and by hand, leaves the programs in WORK/hosts, and on Linux runs them.
include(${CMAKE_CURRENT_LIST_DIR}/support/run.cmake)
set(source ${CMAKE_CURRENT_LIST_DIR})
set(hosts ${WORK}/hosts)
set(suffix "")
set(options -DCMAKE_PREFIX_PATH=${PREFIX} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_CXX_FLAGS=${FLAGS}
    -DCMAKE_RUNTIME_OUTPUT_DIRECTORY=${hosts})
if(IS_WINDOWS) # with the system's compiler, and no toolchain file of ours
  list(APPEND options -DCMAKE_SYSTEM_NAME=Windows)
  set(suffix .exe)
endif()
run(${CMAKE_COMMAND} -G Ninja -S ${source} -B ${WORK}/build ${options})
run(${CMAKE_COMMAND} --build ${WORK}/build)

file(GLOB_RECURSE pc ${PREFIX}/*/KRCommon.pc)
get_filename_component(pc_folder ${pc} DIRECTORY)
get_filename_component(lib_folder ${pc_folder} DIRECTORY)
if(IS_WINDOWS)
  set(ENV{PKG_CONFIG_LIBDIR} ${pc_folder})
else()
  set(ENV{PKG_CONFIG_PATH} ${pc_folder})
endif()
run(pkg-config --modversion KRCommon)
string(STRIP "${output}" version)
set(version "-DPACKAGE_VERSION=\"${version}\"")
run(pkg-config --cflags --libs KRCommon)
if(output MATCHES "-std=")
  message(FATAL_ERROR "the standard is the host's affair")
endif()
separate_arguments(flags UNIX_COMMAND "${output} ${FLAGS}")
foreach(standard 17 20)
  run(${CXX} -std=c++${standard} ${version} ${source}/main.cpp ${flags} -Wl,-rpath,${lib_folder}
      -o ${hosts}/pkg_config_${standard}${suffix})
endforeach()

# Every installed header, in one unit and in an unusual order: each brings what it needs.
file(GLOB_RECURSE headers RELATIVE ${PREFIX}/include ${PREFIX}/include/KRCommon/*.h
     ${PREFIX}/include/krsoap/*.h)
list(SORT headers ORDER DESCENDING)
list(TRANSFORM headers REPLACE "(.+)" "#include <\\1>\n")
list(JOIN headers "" unit)
file(WRITE ${WORK}/headers.cpp "${unit}")
run(${CXX} -std=c++17 -fsyntax-only ${flags} ${WORK}/headers.cpp)

# The command that the documentation names.
file(READ ${PREFIX}/share/doc/KRCommon/using.md text)
if(IS_WINDOWS)
  set(compiler i686-w64-mingw32-g[+][+]-posix)
else()
  set(compiler g[+][+])
endif()
string(REGEX MATCH "```sh\n${compiler} [^`]*```" command "${text}")
if(NOT command)
  message(FATAL_ERROR "using.md holds no command by hand")
endif()
string(REGEX REPLACE "```(sh\n)?" "" command "${command}")
string(REPLACE "host.cpp -o host" "'${version}' ${FLAGS} ${source}/main.cpp -o ${hosts}/by_hand"
       command "${command}")
set(ENV{PREFIX} ${PREFIX})
run(sh -c "${command}")

if(IS_WINDOWS) # beside the program lie the DLLs, and the configuration beside the DLL
  file(GLOB files ${PREFIX}/bin/*.dll ${PREFIX}/bin/KRCommon.xml)
  file(COPY ${files} DESTINATION ${hosts})
else()
  file(GLOB programs ${hosts}/*)
  foreach(program ${programs})
    run(${CMAKE_COMMAND} -E chdir ${hosts} ${program})
    message("${program}: ${output}")
  endforeach()
endif()

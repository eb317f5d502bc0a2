# What gdb shows of the types that the printers know.
#
#   cmake -D GDB=<gdb> -D PROGRAM=<values> -D PRINTERS=<krcommon_gdb.py> -P check.cmake
include(${CMAKE_CURRENT_LIST_DIR}/../support/run.cmake)

set(command ${GDB} -nx -batch -iex "set debuginfod enabled off" -ex "set startup-with-shell off" -ex "set width 0"
    -ex "source ${PRINTERS}" -ex "break stop_here" -ex run -ex up)
foreach(value guid none red empty record record.Instances[0].Box record.Instances[0].Colors)
  list(APPEND command -ex "print ${value}")
endforeach()
run(${command} ${PROGRAM})

foreach(text "= {6F9619FF-8B86-00D0-B400-00000000000A}" "= hsv(none, 0.5, 0)" "= hsv(359, 0, 1)"
        "= not set, (0, 0) to (0, 0)" "= object 12 of sensor 3.1, first seen 1700000000.000042 s, 36 s"
        "{at 0.000000 s (10, 20.5) to (30, 60)" "= (10, 20.5) to (30, 60)" "#A50000 area 37.5")
  string(FIND "${output}" "${text}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "gdb does not show ${text}:\n${output}")
  endif()
endforeach()
message("${output}")

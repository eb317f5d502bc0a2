# Rules that every source file keeps.
#
#   cmake -D SOURCE=<project folder> -P source_rules.cmake

set(failures "")
file(GLOB_RECURSE files RELATIVE ${SOURCE}
     ${SOURCE}/KRCommon/*.h ${SOURCE}/KRCommon/*.cpp ${SOURCE}/krsoap/*.h ${SOURCE}/krsoap/*.cpp
     ${SOURCE}/tests/*.h ${SOURCE}/tests/*.cpp ${SOURCE}/examples/*.h ${SOURCE}/examples/*.cpp
     ${SOURCE}/fuzz/*.h ${SOURCE}/fuzz/*.cpp ${SOURCE}/tools/*.h ${SOURCE}/tools/*.cpp)
list(LENGTH files count)
if(count LESS 10)
  message(FATAL_ERROR "only ${count} source files found in ${SOURCE}")
endif()

# What has instructions of one processor outside of kernels/: who asks for them.
set(may_have_instructions
    "^KRCommon/(kernels/.*|platform/Processor.cpp)$")

foreach(file ${files})
  file(READ ${SOURCE}/${file} text)
  # The operating system's differences live in platform/ alone.
  if(NOT file MATCHES "^(KRCommon|tools/krtool)/platform/(windows|linux)/" AND
     NOT file STREQUAL "KRCommon/platform/Minidump_Type.h" AND
     NOT file STREQUAL "KRCommon/KRCommon_Export.h" AND
     NOT file STREQUAL "KRCommon/capi/krcommon_c.h") # stands alone, with the calling convention in it
    if(text MATCHES "_WIN32|__MINGW32__|__linux__|ACE_WIN32|<windows\\.h>|<unistd\\.h>")
      string(APPEND failures "${file}: ${CMAKE_MATCH_0} belongs into platform/\n")
    endif()
  endif()
  # Special instructions live in kernels/ alone, and the question what the processor has in platform/.
  if(file MATCHES "^(KRCommon|krsoap)/" AND NOT file MATCHES "${may_have_instructions}")
    if(text MATCHES "[a-z]+intrin\\.h|<cpuid\\.h>|_mm[0-9]*_[a-z]|__m(64|128|256|512)|__builtin_ia32_|gnu::target")
      string(APPEND failures "${file}: ${CMAKE_MATCH_0} belongs into kernels/\n")
    endif()
  endif()
  # text/ stands on nothing of the library, and platform/ on text/ alone.
  string(REPLACE "<KRCommon/text/" "" text_without_own_includes "${text}")
  if(file MATCHES "^KRCommon/text/" AND
     text_without_own_includes MATCHES "#include <KRCommon/")
    string(APPEND failures "${file}: text/ includes nothing of the library\n")
  endif()
  string(REPLACE "<KRCommon/platform/" "" text_without_own_includes "${text_without_own_includes}")
  if(file MATCHES "^KRCommon/platform/" AND
     text_without_own_includes MATCHES "#include <KRCommon/")
    string(APPEND failures "${file}: platform/ includes nothing of the library but text/\n")
  endif()
  # kernels/ stands on those two, and knows nothing of its users.
  string(REPLACE "<KRCommon/kernels/" "" text_without_own_includes "${text_without_own_includes}")
  string(REPLACE "<KRCommon/KRCommon_Export.h>" "" text_without_own_includes
         "${text_without_own_includes}")
  if(file MATCHES "^KRCommon/kernels/" AND NOT file MATCHES "_bench\\.cpp$" AND
     text_without_own_includes MATCHES "#include <KRCommon/")
    string(APPEND failures "${file}: kernels/ includes nothing of the library but platform/ and text/\n")
  endif()
  # capi/ is for hosts: nothing of the library calls it.
  if(file MATCHES "^KRCommon/" AND NOT file MATCHES "^KRCommon/capi/" AND
     text MATCHES "#include <KRCommon/capi/")
    string(APPEND failures "${file}: capi/ is above all of the library\n")
  endif()
  if(file MATCHES "\\.h$" AND NOT text MATCHES "^#pragma once\n")
    string(APPEND failures "${file}: a header begins with #pragma once\n")
  endif()
  if(file MATCHES "\\.h$" AND text MATCHES "#include <KRCommon/KRCommon_Export" AND
     NOT text MATCHES "\n/// Exceptions: std::bad_alloc")
    string(APPEND failures "${file}: a public header tells which exceptions leave\n")
  endif()
  if(text MATCHES "\t|\r| \n")
    string(APPEND failures "${file}: a tab, a carriage return or a blank at a line's end\n")
  endif()
endforeach()

# Where things lie that are built once, and by which recipe, one file says.
file(GLOB_RECURSE files RELATIVE ${SOURCE} ${SOURCE}/kr ${SOURCE}/setup/* ${SOURCE}/cmake/*
     ${SOURCE}/examples/*.cmake ${SOURCE}/examples/CMakeLists.txt ${SOURCE}/KRCommon/CMakeLists.txt)
list(REMOVE_ITEM files setup/cache.sh)
list(APPEND files CMakeLists.txt CMakePresets.json)
foreach(file ${files})
  file(READ ${SOURCE}/${file} text)
  string(REPLACE "~/.cache/krcommon" "" text "${text}") # ./kr help may name it
  if(text MATCHES "-mingw-r|/krcommon}?\n|\\.cache/krcommon")
    string(APPEND failures "${file}: ${CMAKE_MATCH_0} belongs into setup/cache.sh\n")
  endif()
endforeach()

# Operators find every option of the log and every state that it tells.
file(READ ${SOURCE}/docs/log_format.md text)
foreach(name Options Status)
  file(STRINGS ${SOURCE}/KRCommon/frame/Log_${name}.h lines
       REGEX "^    (bool|int|std::[a-z0-9_]+) [a-z_]+( =.*)?;")
  list(LENGTH lines members)
  if(members LESS 9)
    string(APPEND failures "Log_${name}.h: its members are not seen here\n")
  endif()
  foreach(line ${lines})
    string(REGEX REPLACE "^ *[^ ]+ ([a-z_]+).*" "\\1" member "${line}")
    string(FIND "${text}" "`${member}`" place)
    if(place EQUAL -1)
      string(APPEND failures "docs/log_format.md: nothing on ${member}\n")
    endif()
  endforeach()
endforeach()

if(failures)
  message(FATAL_ERROR "${failures}")
endif()
message("${count} source files keep the rules")

# The licence texts of the DLLs that are installed with the library on Windows.

# The copyright file of the package that the file belongs to; empty without one.
function(kr_find_copyright file result)
  file(REAL_PATH ${file} file)
  execute_process(COMMAND dpkg-query -S ${file} OUTPUT_VARIABLE owner ERROR_QUIET)
  string(REGEX REPLACE ":.*" "" owner "${owner}")
  set(copyright /usr/share/doc/${owner}/copyright)
  if(NOT owner OR NOT EXISTS ${copyright})
    set(copyright "")
  endif()
  set(${result} "${copyright}" PARENT_SCOPE)
endfunction()

# Without one of the texts the installation fails: the DLLs may not be handed on without it.
function(kr_install_licence name file)
  if(EXISTS "${file}")
    install(FILES ${file} DESTINATION ${CMAKE_INSTALL_DOCDIR}/licences RENAME ${name}.txt)
  else()
    install(CODE "message(FATAL_ERROR \"The licence of ${name} is not on this machine: \"
      \"install its package again, with its documentation.\")")
  endif()
endfunction()

# Of all DLLs: NAME=FILE, without a file where it is not on this machine.
function(kr_find_licences result)
  get_filename_component(ace ${ACE_INCLUDE_DIR} DIRECTORY)
  set(found "ACE=${ace}/COPYING")
  foreach(dll ${KR_RUNTIME_DLLS})
    if(NOT dll STREQUAL ACE_RUNTIME)
      get_filename_component(name ${dll} NAME_WE)
      kr_find_copyright(${dll} copyright)
      list(APPEND found "${name}=${copyright}")
    endif()
  endforeach()
  list(APPEND found GPL-3=/usr/share/common-licenses/GPL-3) # to which the compiler's refer
  set(${result} "${found}" PARENT_SCOPE)
endfunction()

function(kr_install_licences)
  kr_find_licences(found)
  foreach(licence ${found})
    string(REGEX MATCH "^([^=]*)=(.*)$" _ "${licence}")
    kr_install_licence("${CMAKE_MATCH_1}" "${CMAKE_MATCH_2}")
  endforeach()
endfunction()

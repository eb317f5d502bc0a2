# Part of the installation: the default configuration, as KRCommon.xml.default and as KRCommon.xml,
# unless that one is no longer as it was installed. An operator's ranges outlive an update.
set(folder "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${KR_FOLDER}")
set(is_edited FALSE)
if(EXISTS "${folder}/KRCommon.xml")
  set(is_edited TRUE)
  file(SHA256 "${folder}/KRCommon.xml" present)
  foreach(default "${KR_CONFIGURATION}" "${folder}/KRCommon.xml.default")
    if(EXISTS "${default}")
      file(SHA256 "${default}" hash)
      if(hash STREQUAL present)
        set(is_edited FALSE)
      endif()
    endif()
  endforeach()
endif()

set(names KRCommon.xml.default)
if(is_edited)
  message(STATUS "Kept the edited ${folder}/KRCommon.xml; the default is now in KRCommon.xml.default")
else()
  list(APPEND names KRCommon.xml)
endif()
foreach(name ${names})
  file(INSTALL "${KR_CONFIGURATION}" DESTINATION "${CMAKE_INSTALL_PREFIX}/${KR_FOLDER}"
       RENAME ${name}) # which heeds DESTDIR itself
endforeach()

# Installs headers, libraries, a relocatable CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)
set(kr_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KRCommon)

set(kr_installed_targets KRCommon)
if(TARGET kr_time64)
  list(APPEND kr_installed_targets kr_time64)
endif()
install(TARGETS ${kr_installed_targets} EXPORT KRCommonTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(WIN32)
  install(FILES ${KR_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The public headers, module by module; internals, tests and platform/ stay behind.
install(FILES KRCommon_Export.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon)
install(FILES frame/Component_Base.h frame/Configuration_Status.h frame/Log.h frame/Log_Check.h frame/Log_Manager.h
              frame/Mutex.h frame/ProfileHelper.h frame/SEH.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/frame)
install(FILES colors/Colors.h colors/Configuration.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/colors)
install(FILES eventlog/Event_Log.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/eventlog)
install(FILES objects/Geom_Box2D.h objects/Objects.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/objects)
install(FILES records/Agent_Data.h records/Scheduled_Task.h records/VMS_Proxy_Data.h records/VapData.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/records)
install(FILES util/Addresses.h util/Base64.h util/Code_Pages.h util/Guid.h util/SHA1.h
              util/String_Encryption.h util/Text.h util/Time_Text.h util/Url.h util/Utils.h
              util/Version_Retriever.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/util)
install(FILES platform/Minidump_Type.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon/platform)

# The configuration lies beside the library, where it is looked for; its schema is for editors.
if(WIN32)
  set(kr_library_dir ${CMAKE_INSTALL_BINDIR})
else()
  set(kr_library_dir ${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/config/KRCommon.xml ${PROJECT_SOURCE_DIR}/config/KRCommon.xsd
        DESTINATION ${kr_library_dir})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KRCommonConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfig.cmake INSTALL_DESTINATION ${kr_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/FindACE.cmake
        DESTINATION ${kr_package_dir})
install(EXPORT KRCommonTargets NAMESPACE KRCommon:: DESTINATION ${kr_package_dir})

# The pkg-config file finds its prefix from its own place.
file(RELATIVE_PATH kr_pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" kr_pc_prefix "${kr_pc_prefix}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/KRCommon.pc.in ${CMAKE_CURRENT_BINARY_DIR}/KRCommon.pc
               @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KRCommon.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

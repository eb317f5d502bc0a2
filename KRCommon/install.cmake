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
  # With all that a host needs: the other DLLs, and ACE to compile with.
  foreach(dll ${KR_RUNTIME_DLLS})
    get_filename_component(name ${dll} NAME)
    install(PROGRAMS ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name} DESTINATION ${CMAKE_INSTALL_BINDIR})
  endforeach()
  install(DIRECTORY ${ACE_INCLUDE_DIR}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} MESSAGE_NEVER)
  install(FILES ${ACE_LIBRARY} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  include(KRLicences)
  kr_install_licences()
endif()

# The modules install their public headers themselves (kr_module).
install(FILES KRCommon_Export.h ${kr_version_header}
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KRCommon)

install(FILES ${PROJECT_SOURCE_DIR}/docs/using.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
# How debuggers show the library's types.
install(FILES ${PROJECT_SOURCE_DIR}/tools/debuggers/krcommon_gdb.py
              ${PROJECT_SOURCE_DIR}/tools/debuggers/KRCommon.natvis
        DESTINATION ${CMAKE_INSTALL_DATADIR}/KRCommon)

# The configuration lies beside the library, where it is looked for; its schema is for editors.
if(WIN32)
  set(kr_library_dir ${CMAKE_INSTALL_BINDIR})
else()
  set(kr_library_dir ${CMAKE_INSTALL_LIBDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/config/KRCommon.xsd DESTINATION ${kr_library_dir})
# The notice of what its ranges were fitted to.
install(FILES ${PROJECT_SOURCE_DIR}/config/survey/LICENSE
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/licences RENAME colour_survey.txt)
install(CODE "set(KR_CONFIGURATION \"${PROJECT_SOURCE_DIR}/config/KRCommon.xml\")
set(KR_FOLDER \"${kr_library_dir}\")")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/install_configuration.cmake)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KRCommonConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfig.cmake INSTALL_DESTINATION ${kr_package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KRCommonConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/FindACE.cmake
              ${PROJECT_SOURCE_DIR}/cmake/KRVersionNote.cmake
              ${PROJECT_SOURCE_DIR}/cmake/version_note.cpp.in
        DESTINATION ${kr_package_dir})
install(EXPORT KRCommonTargets NAMESPACE KRCommon:: DESTINATION ${kr_package_dir})

# The pkg-config file finds its prefix from its own place. Where there is no package of ACE to refer
# to, it names ACE's flags, and ours, as the targets have them.
file(RELATIVE_PATH kr_pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" kr_pc_prefix "${kr_pc_prefix}")
if(WIN32)
  get_target_property(definitions ACE::ACE INTERFACE_COMPILE_DEFINITIONS)
  list(TRANSFORM definitions PREPEND -D)
  list(JOIN definitions " " definitions)
  list(JOIN KR_ARITHMETIC " " arithmetic)
  get_target_property(wraps kr_time64 INTERFACE_LINK_OPTIONS)
  list(TRANSFORM wraps REPLACE "^LINKER:" "-Wl,")
  list(JOIN wraps " " wraps)
  set(kr_pc_cflags "${definitions} ${arithmetic}")
  set(kr_pc_libs "-lACE -lkr_time64 ${wraps} -lws2_32")
else()
  set(kr_pc_requires ACE)
  set(kr_pc_cflags -pthread)
  set(kr_pc_libs -pthread)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/KRCommon.pc.in ${CMAKE_CURRENT_BINARY_DIR}/KRCommon.pc
               @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KRCommon.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DKR_TESTS=OFF -DKR_EXAMPLES=OFF -DKR_TOOLS=OFF -DKR_ACE_ROOT=${CURRENT_INSTALLED_DIR})
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME KRCommon CONFIG_PATH lib/cmake/KRCommon DO_NOT_DELETE_PARENT_CONFIG_PATH)
vcpkg_cmake_config_fixup(PACKAGE_NAME KRSOAP CONFIG_PATH lib/cmake/KRSOAP)
vcpkg_fixup_pkgconfig()

file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE" "${SOURCE_PATH}/config/survey/LICENSE")

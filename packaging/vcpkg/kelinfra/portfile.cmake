# An overlay port: it builds the checkout that contains it.
cmake_path(SET SOURCE_PATH NORMALIZE "${CURRENT_PORT_DIR}/../../..")

vcpkg_cmake_configure(SOURCE_PATH "${SOURCE_PATH}"
    OPTIONS -DKELINFRA_BUILD_TESTS=OFF -DKELINFRA_BUILD_EXAMPLES=OFF
            "-DKELINFRA_HIGHWAY_HEADERS=${CURRENT_INSTALLED_DIR}/include")
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(PACKAGE_NAME KELINFRA CONFIG_PATH lib/cmake/KELINFRA)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include" "${CURRENT_PACKAGES_DIR}/debug/share")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")

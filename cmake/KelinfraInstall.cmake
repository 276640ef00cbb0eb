# Installation: the library, its headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KELINFRA)

install(TARGETS KELINFRA EXPORT KELINFRATargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.hpp")
install(EXPORT KELINFRATargets NAMESPACE KELINFRA:: DESTINATION ${package_dir})

configure_package_config_file(cmake/KELINFRAConfig.cmake.in KELINFRAConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(KELINFRAConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KELINFRAConfig.cmake ${PROJECT_BINARY_DIR}/KELINFRAConfigVersion.cmake
        DESTINATION ${package_dir})

configure_file(cmake/KELINFRA.pc.in KELINFRA.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/KELINFRA.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

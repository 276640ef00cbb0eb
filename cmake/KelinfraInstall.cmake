# Installs the library, its headers, a CMake package and a pkg-config file. On Windows it also installs the
# libraries of ICU and of the compiler that programs need, since Windows has no place for them where programs
# would find them. Files that a program needs to run are one component, files that are needed to build it are
# the other.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KELINFRA)

if(TARGET kelinfra_archive)
  set(archive kelinfra_archive)
endif()
install(TARGETS KELINFRA ${archive} EXPORT KELINFRATargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT kelinfra_runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
                COMPONENT kelinfra_runtime NAMELINK_COMPONENT kelinfra_development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kelinfra_development)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT kelinfra_development
        FILES_MATCHING PATTERN "*.hpp")
install(FILES errors/catalogue.json probes/probes.json
        DESTINATION ${CMAKE_INSTALL_DATADIR}/kelinfra COMPONENT kelinfra_development)
install(DIRECTORY catalogues DESTINATION ${CMAKE_INSTALL_DATADIR}/kelinfra COMPONENT kelinfra_development)
install(EXPORT KELINFRATargets NAMESPACE KELINFRA:: DESTINATION ${package_dir} COMPONENT kelinfra_development)

# The CMake package exists twice: for the installation, and for the build tree, where a program can use the
# library without installing it.
string(REGEX REPLACE "\\..*" "" KELINFRA_ICU_MAJOR ${ICU_VERSION})
set(KELINFRA_RUNTIME_DLLS)
foreach(file IN LISTS KELINFRA_ICU_DLLS KELINFRA_COMPILER_DLLS)
  cmake_path(GET file STEM LAST_ONLY name)
  list(APPEND KELINFRA_RUNTIME_DLLS ${name})
endforeach()
list(JOIN KELINFRA_RUNTIME_DLLS " " KELINFRA_RUNTIME_DLLS)
# kelinfra_package_config(FILE DESTINATION [OPTION...])
function(kelinfra_package_config file destination)
  configure_package_config_file(cmake/KELINFRAConfig.cmake.in ${file} ${ARGN}
      INSTALL_DESTINATION ${destination}
      PATH_VARS KELINFRA_ICU_FOLDER KELINFRA_DLL_FOLDER KELINFRA_IMPORT_LIBRARY)
endfunction()
set(KELINFRA_ICU_FOLDER .)
set(KELINFRA_DLL_FOLDER ${CMAKE_INSTALL_BINDIR})
set(KELINFRA_IMPORT_LIBRARY ${CMAKE_INSTALL_LIBDIR}/libKELINFRA.dll.a)
kelinfra_package_config(installed/KELINFRAConfig.cmake ${package_dir})
if(WIN32)
  cmake_path(GET icu_library_dir PARENT_PATH KELINFRA_ICU_FOLDER)
endif()
set(KELINFRA_DLL_FOLDER bin)
set(KELINFRA_IMPORT_LIBRARY src/libKELINFRA.dll.a)
kelinfra_package_config(KELINFRAConfig.cmake ${PROJECT_BINARY_DIR} INSTALL_PREFIX ${PROJECT_BINARY_DIR})
export(EXPORT KELINFRATargets NAMESPACE KELINFRA:: FILE ${PROJECT_BINARY_DIR}/KELINFRATargets.cmake)
write_basic_package_version_file(KELINFRAConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/installed/KELINFRAConfig.cmake
              ${PROJECT_BINARY_DIR}/KELINFRAConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT kelinfra_development)

# Views for debuggers (docs/debugging.md). gdb loads a script by itself if it is named after the real path of
# the library. The prefix is the one of the installation, which may differ from the configured one.
set(gdb_dir ${CMAKE_INSTALL_DATADIR}/gdb/auto-load)
install(FILES debugger/KELINFRA.natvis
        DESTINATION ${CMAKE_INSTALL_DATADIR}/kelinfra COMPONENT kelinfra_development)
if(BUILD_SHARED_LIBS AND NOT WIN32)
  install(FILES debugger/kelinfra-gdb.py
          DESTINATION "${gdb_dir}/\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}"
          RENAME libKELINFRA.so.${PROJECT_VERSION}-gdb.py COMPONENT kelinfra_development)
endif()

if(WIN32)
  install(FILES ${KELINFRA_ICU_DLLS} ${KELINFRA_COMPILER_DLLS}
          DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT kelinfra_runtime)
  install(FILES ${KELINFRA_ICU_IMPORT_LIBRARIES}
          DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kelinfra_development)
  install(DIRECTORY ${ICU_INCLUDE_DIR}/unicode
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT kelinfra_development)
else()
  # A program needs ICU's other libraries only if it is linked with the archive.
  set(KELINFRA_PC_REQUIRES icu-uc)
  set(KELINFRA_PC_REQUIRES_PRIVATE "icu-io icu-i18n")
  if(NOT BUILD_SHARED_LIBS)
    set(KELINFRA_PC_REQUIRES "icu-io icu-i18n icu-uc")
    set(KELINFRA_PC_REQUIRES_PRIVATE)
  endif()
  list(TRANSFORM KELINFRA_DEFINITIONS PREPEND " -D" OUTPUT_VARIABLE KELINFRA_PC_CFLAGS)
  list(JOIN KELINFRA_PC_CFLAGS "" KELINFRA_PC_CFLAGS)
  # The prefix is the one of the installation, which may differ from the configured one. Installations with
  # different prefixes may run at the same time, so they do not share a file.
  set(KELINFRA_PC_PREFIX @KELINFRA_PREFIX@)
  configure_file(cmake/KELINFRA.pc.in KELINFRA.pc.in @ONLY)
  install(CODE "get_filename_component(KELINFRA_PREFIX \"\${CMAKE_INSTALL_PREFIX}\" ABSOLUTE)
    string(MD5 name \"\${KELINFRA_PREFIX}\")
    set(file \"${PROJECT_BINARY_DIR}/pkgconfig/\${name}/KELINFRA.pc\")
    configure_file(\"${PROJECT_BINARY_DIR}/KELINFRA.pc.in\" \"\${file}\" @ONLY)
    file(INSTALL DESTINATION \"\${KELINFRA_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\"
         TYPE FILE FILES \"\${file}\")"
          COMPONENT kelinfra_development)
endif()

if(TARGET kelinfra_archive)
  # CMake strips only what is linked.
  install(CODE "if(CMAKE_INSTALL_DO_STRIP)
      set(prefix \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
      execute_process(COMMAND ${CMAKE_STRIP} --strip-debug \${prefix}/${CMAKE_INSTALL_LIBDIR}/libKELINFRA.a
                      COMMAND_ERROR_IS_FATAL ANY)
    endif()" COMPONENT kelinfra_development)
endif()

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
      COMMAND ${CMAKE_COMMAND} -D BINARY_DIR=${PROJECT_BINARY_DIR}
              -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
      VERBATIM)
endif()

# CPack makes the ZIP for Windows from the installation; scripts/package runs it. The packages for Debian are
# made by debian/rules.

set(CPACK_PACKAGE_VENDOR KELINFRA)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME KELINFRA-${PROJECT_VERSION}-windows-x64)
# README.md, and the pages that it names.
install(FILES LICENSE README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md
        DESTINATION . COMPONENT kelinfra_runtime)
install(DIRECTORY docs DESTINATION . COMPONENT kelinfra_runtime)
install(DIRECTORY examples DESTINATION . COMPONENT kelinfra_development)
if(KELINFRA_BUILD_EXAMPLES)
  install(TARGETS documentServer documentClient failures
          DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT kelinfra_runtime)
endif()

# The licences of everything in the package: Debian's own texts on the packages that most files come from,
# and the licences that these texts refer to.
function(kelinfra_install_licence name file)
  install(FILES ${file} DESTINATION licences RENAME ${name}.txt COMPONENT kelinfra_runtime)
endfunction()
kelinfra_install_licence(KELINFRA ${PROJECT_SOURCE_DIR}/.reuse/dep5)
kelinfra_install_licence(ICU ${icu_library_dir}/../share/icu/${ICU_VERSION}/LICENSE)
kelinfra_install_licence(GCC-runtime /usr/share/doc/gcc-mingw-w64-base/copyright)
kelinfra_install_licence(mingw-w64-winpthread /usr/share/doc/mingw-w64-x86-64-dev/copyright)
kelinfra_install_licence(Highway /usr/share/doc/libhwy-dev/copyright)
if(KELINFRA_BUILD_TOOLS)
  kelinfra_install_licence(CLI11 /usr/share/doc/libcli11-dev/copyright)
  kelinfra_install_licence(nlohmann-json /usr/share/doc/nlohmann-json3-dev/copyright)
endif()
foreach(text IN ITEMS Apache-2.0 GPL-3)
  kelinfra_install_licence(${text} /usr/share/common-licenses/${text})
endforeach()

include(CPack)

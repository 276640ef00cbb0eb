# CPack makes the packages from the installation; scripts/package runs it. For Debian there are two: one to
# run programs, and one to build them. For Windows there is one ZIP that contains everything.

set(CPACK_PACKAGE_CONTACT "KELINFRA maintainers <maintainers@kelinfra.invalid>")
set(CPACK_PACKAGE_VENDOR KELINFRA)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

function(kelinfra_install_examples destination component)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${destination} COMPONENT ${component} ${ARGN})
endfunction()

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME KELINFRA-${PROJECT_VERSION}-windows-x64)
  kelinfra_install_examples(examples kelinfra_development)
  if(KELINFRA_BUILD_EXAMPLES)
    install(TARGETS documentServer documentClient failures
            DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT kelinfra_runtime)
  endif()

  # The licences of everything in the package: Debian's own texts on the packages that most files come from,
  # and the licences that these texts refer to.
  function(kelinfra_install_licence name file)
    install(FILES ${file} DESTINATION licences RENAME ${name}.txt COMPONENT kelinfra_runtime)
  endfunction()
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION . COMPONENT kelinfra_runtime)
  kelinfra_install_licence(KELINFRA ${PROJECT_SOURCE_DIR}/.reuse/dep5)
  kelinfra_install_licence(ICU ${icu_library_dir}/../share/icu/${ICU_VERSION}/LICENSE)
  kelinfra_install_licence(GCC-runtime /usr/share/doc/gcc-mingw-w64-base/copyright)
  kelinfra_install_licence(mingw-w64-winpthread /usr/share/doc/mingw-w64-x86-64-dev/copyright)
  kelinfra_install_licence(Highway /usr/share/doc/libhwy-dev/copyright)
  foreach(text IN ITEMS Apache-2.0 GPL-3)
    kelinfra_install_licence(${text} /usr/share/common-licenses/${text})
  endforeach()
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL kelinfra_runtime kelinfra_development)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  # The package's name contains the number of the soname, so two versions with different numbers can be
  # installed together.
  set(runtime_package libkelinfra${PROJECT_VERSION_MAJOR})
  set(development_package libkelinfra-dev)
  set(description "KELINFRA gives client and server programs structured errors, text in any code
page, buffers, typed configuration and TCP sockets.")

  set(CPACK_DEBIAN_KELINFRA_RUNTIME_PACKAGE_NAME ${runtime_package})
  set(CPACK_DEBIAN_KELINFRA_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_KELINFRA_RUNTIME_PACKAGE_SHLIBDEPS ON)
  set(CPACK_COMPONENT_KELINFRA_RUNTIME_DESCRIPTION "${description}
This package contains the library.")
  # The dependencies of programs that are built with the library, and the request that the system searches for
  # libraries again.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
  set(CPACK_DEBIAN_KELINFRA_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/triggers)

  # The names of ICU's functions contain its major version, and so do the names of this library's functions
  # that take ICU strings.
  string(REGEX REPLACE "\\..*" "" icu_major ${ICU_VERSION})
  math(EXPR icu_next "${icu_major} + 1")
  set(CPACK_DEBIAN_KELINFRA_DEVELOPMENT_PACKAGE_NAME ${development_package})
  set(CPACK_DEBIAN_KELINFRA_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_KELINFRA_DEVELOPMENT_PACKAGE_DEPENDS
      "${runtime_package} (= ${PROJECT_VERSION}), libicu-dev (>= ${icu_major}), libicu-dev (<< ${icu_next})")
  set(CPACK_COMPONENT_KELINFRA_DEVELOPMENT_DESCRIPTION "${description}
This package contains the files that programs are built with: headers, a
CMake package, a pkg-config file, and examples.")

  # The place that Debian requires; no other installation uses it.
  foreach(component IN ITEMS runtime development)
    install(FILES ${PROJECT_SOURCE_DIR}/.reuse/dep5 RENAME copyright
            DESTINATION share/doc/${${component}_package} COMPONENT kelinfra_${component} EXCLUDE_FROM_ALL)
  endforeach()
  kelinfra_install_examples(share/doc/${development_package}/examples kelinfra_development EXCLUDE_FROM_ALL)
endif()

include(CPack)

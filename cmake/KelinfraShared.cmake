# The properties of the shared library, the target KELINFRA.
set_target_properties(KELINFRA PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
target_link_options(KELINFRA PRIVATE ${KELINFRA_LINK_OPTIONS})
if(WIN32)
  # The entry point belongs only to the library: tests link the objects without it.
  target_sources(KELINFRA PRIVATE infra/platform/windows/kelDllMain.cpp)
  kelinfra_configure(KELINFRA)
  # KELINFRA.dll, and libKELINFRA.dll.a to link it with.
  set_target_properties(KELINFRA PROPERTIES PREFIX "")
  # Windows shows the version resource in the properties of the file, and installers compare it.
  enable_language(RC)
  file(STRINGS ${PROJECT_SOURCE_DIR}/.reuse/dep5 copyright REGEX "^(Copyright|License): ")
  list(TRANSFORM copyright REPLACE "^[A-Za-z]+: *" "")
  list(GET copyright 0 KELINFRA_COPYRIGHT)
  list(GET copyright 1 KELINFRA_LICENCE)
  configure_file(infra/platform/windows/kelVersion.rc.in ${CMAKE_CURRENT_BINARY_DIR}/kelVersion.rc @ONLY)
  target_sources(KELINFRA PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/kelVersion.rc)
else()
  # The standard library's headers make instantiations of its templates visible; the script hides them.
  set(version_script ${CMAKE_CURRENT_SOURCE_DIR}/infra/platform/posix/exports.map)
  target_link_options(KELINFRA PRIVATE
      -Wl,--version-script=${version_script} -Wl,-z,defs -Wl,-z,relro -Wl,-z,now)
  # Stays loaded after dlclose: a thread that ends later still calls it, and the next dlopen finds its tables.
  target_link_options(KELINFRA PRIVATE -Wl,-z,nodelete)
  if(KELINFRA_SANITIZE)
    target_link_options(KELINFRA PRIVATE -Wl,-z,undefs)
  endif()
  set_target_properties(KELINFRA PROPERTIES LINK_DEPENDS ${version_script})
endif()

# The libraries that are in the folder of the programs on Windows: ICU's and the compiler's. All programs and
# libraries of a process share the compiler's, since exceptions and streams cross between them.

get_filename_component(icu_library_dir ${ICU_UC_LIBRARY_RELEASE} DIRECTORY)
string(REGEX REPLACE "\\..*" "" icu_major ${ICU_VERSION})
set(KELINFRA_ICU_DLLS)
set(KELINFRA_ICU_IMPORT_LIBRARIES)
foreach(library IN ITEMS uc in io dt)
  list(APPEND KELINFRA_ICU_DLLS ${icu_library_dir}/../bin/icu${library}${icu_major}.dll)
  list(APPEND KELINFRA_ICU_IMPORT_LIBRARIES ${icu_library_dir}/libicu${library}.dll.a)
endforeach()

set(KELINFRA_COMPILER_DLLS)
foreach(library IN ITEMS libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}.dll
                  OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE ${file})
    message(FATAL_ERROR "the compiler does not know where its ${library}.dll is")
  endif()
  list(APPEND KELINFRA_COMPILER_DLLS ${file})
endforeach()

file(COPY ${KELINFRA_ICU_DLLS} ${KELINFRA_COMPILER_DLLS} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

# Builds and runs the README's program outside the tree.
#   MODE      find_package, pkg-config, build_tree (find_package without an installation) or
#             add_subdirectory; "static" only builds the library as an archive and installs it into the folder
#             PACKAGE; "other_icu" checks that CMake refuses a version of ICU with another major number
#   PACKAGE   where the package is: a folder, or "system"; by default BINARY_DIR is installed into a new
#             folder
#   STATIC    the program is linked with -static
#   WINE      runs the program; given if it is cross-built for Windows

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\nfailed (${result}):\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

if(MODE STREQUAL "static")
  run(${CMAKE_COMMAND} -G Ninja -S ${SOURCE_DIR} -B ${WORK_DIR}/build -D BUILD_SHARED_LIBS=OFF
      -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_BUILD_TYPE=Debug -D CMAKE_INSTALL_PREFIX=${PACKAGE}
      -D KELINFRA_BUILD_TESTS=OFF -D KELINFRA_BUILD_EXAMPLES=OFF)
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  file(REMOVE_RECURSE ${PACKAGE})
  run(${CMAKE_COMMAND} --install ${WORK_DIR}/build)
  file(GLOB_RECURSE libraries RELATIVE ${PACKAGE} ${PACKAGE}/*KELINFRA.*)
  list(FILTER libraries INCLUDE REGEX "\\.(a|so.*|dll)$")
  if(NOT libraries MATCHES "^[^;]*/libKELINFRA\\.a$")
    message(FATAL_ERROR "these libraries are installed: ${libraries}")
  endif()
  return()
endif()

# The program is the README's first C++ block.
file(READ ${SOURCE_DIR}/README.md readme)
string(REGEX MATCH "```cpp\n([^`]*)```" block "${readme}")
if(NOT block)
  message(FATAL_ERROR "the README has no C++ block")
endif()
file(WRITE ${WORK_DIR}/program.cpp "${CMAKE_MATCH_1}")

set(prefix ${PACKAGE})
if(MODE STREQUAL "build_tree")
  set(prefix ${BINARY_DIR})
elseif(NOT PACKAGE AND NOT MODE STREQUAL "add_subdirectory")
  set(prefix ${WORK_DIR}/prefix)
  run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix})
endif()

if(MODE STREQUAL "pkg-config")
  if(NOT PACKAGE STREQUAL "system")
    file(GLOB_RECURSE pc ${prefix}/*.pc)
    get_filename_component(pc_dir ${pc} DIRECTORY)
    if(PACKAGE)
      # The package may have been moved after its installation. pkg-config would define a prefix for ICU's
      # packages too, thus it reads a copy that names the prefix.
      file(READ ${pc} text)
      string(REGEX REPLACE "^prefix=[^\n]*" "prefix=${prefix}" text "${text}")
      file(WRITE ${WORK_DIR}/pkgconfig/KELINFRA.pc "${text}")
      set(ENV{PKG_CONFIG_PATH} ${WORK_DIR}/pkgconfig)
    else()
      set(ENV{PKG_CONFIG_PATH} ${pc_dir})
    endif()
    get_filename_component(lib_dir ${pc_dir} DIRECTORY)
    set(run_path -Wl,-rpath,${lib_dir})
  endif()
  if(STATIC)
    set(static --static)
    set(run_path -static)
  endif()
  execute_process(COMMAND pkg-config ${static} --cflags --libs KELINFRA
                  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${COMPILER} -std=c++${STANDARD} ${WORK_DIR}/program.cpp -o ${WORK_DIR}/program ${flags} ${run_path})
  run(${WORK_DIR}/program)
else()
  set(find "find_package(KELINFRA 5 REQUIRED)")
  if(MODE STREQUAL "add_subdirectory")
    set(find "add_subdirectory(\"${SOURCE_DIR}\" kelinfra)")
  endif()
  set(target KELINFRA)
  if(STATIC)
    # The system's package contains both kinds of library.
    if(PACKAGE STREQUAL "system")
      set(target static)
    endif()
    set(static "set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
set(CMAKE_EXE_LINKER_FLAGS -static)")
  endif()
  file(WRITE ${WORK_DIR}/CMakeLists.txt "
cmake_minimum_required(VERSION 3.22)
project(consumer LANGUAGES CXX)
${static}
${find}
add_executable(program program.cpp)
set_target_properties(program PROPERTIES CXX_STANDARD ${STANDARD} CXX_STANDARD_REQUIRED ON)
target_link_libraries(program PRIVATE KELINFRA::${target})
if(WIN32)
  add_custom_command(TARGET program POST_BUILD COMMAND_EXPAND_LISTS
      COMMAND \${CMAKE_COMMAND} -E copy \$<TARGET_RUNTIME_DLLS:program> \$<TARGET_FILE_DIR:program>)
endif()
")
  if(NOT PACKAGE STREQUAL "system")
    set(place -D CMAKE_PREFIX_PATH=${prefix})
  endif()
  if(WINE)
    list(APPEND place -D CMAKE_SYSTEM_NAME=Windows -D CMAKE_FIND_ROOT_PATH=${prefix}
         -D CMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY -D CMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY
         -D CMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY -D CMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER)
    set(suffix .exe)
  endif()
  if(MODE STREQUAL "other_icu")
    file(COPY ${ICU_INCLUDE_DIR}/unicode DESTINATION ${WORK_DIR}/icu)
    file(READ ${WORK_DIR}/icu/unicode/uvernum.h text)
    string(REGEX REPLACE "(define U_ICU_VERSION )\"[^\"]*\"" "\\1\"99.1\"" text "${text}")
    file(WRITE ${WORK_DIR}/icu/unicode/uvernum.h "${text}")
    list(APPEND place -D ICU_INCLUDE_DIR=${WORK_DIR}/icu)
  endif()
  set(configure ${CMAKE_COMMAND} -G Ninja -S ${WORK_DIR} -B ${WORK_DIR}/build ${place}
      -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_BUILD_TYPE=Debug)
  if(MODE STREQUAL "other_icu")
    execute_process(COMMAND ${configure} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    string(REGEX REPLACE "[ \n]+" " " output "${output}")
    if(result EQUAL 0 OR NOT output MATCHES "was built with ICU [0-9]+ and cannot be linked with ICU 99\\.1 ")
      message(FATAL_ERROR "CMake said (${result}):\n${output}")
    endif()
    return()
  endif()
  run(${configure})
  run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
  run(${WINE} ${WORK_DIR}/build/program${suffix})
endif()

if(STATIC)
  file(GLOB program ${WORK_DIR}/program ${WORK_DIR}/build/program)
  execute_process(COMMAND readelf -d ${program} OUTPUT_VARIABLE needed COMMAND_ERROR_IS_FATAL ANY)
  if(needed MATCHES "NEEDED")
    message(FATAL_ERROR "the program needs shared libraries:\n${needed}")
  endif()
endif()

# The program connects to a port where no program listens, and prints the error.
if(NOT output MATCHES "^QN_ERR_SOCKET_CONNECTION_REFUSED: \\[\\] - \\[localhost\\] \\[1\\]")
  message(FATAL_ERROR "the program said:\n${output}")
endif()
message(STATUS "${output}")

# What every target of the project is compiled with.

set(KELINFRA_COMPILE_OPTIONS
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-qual -Wformat=2 -Wundef -Wdouble-promotion -Wnull-dereference
    # The library calls its own functions directly; nobody is meant to replace them by preloading.
    -fno-semantic-interposition
    # No path of the building machine in what is shipped; messages record base names anyway.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(WIN32)
  # Sections of the tests' many templates are more than the old object format counts.
  list(APPEND KELINFRA_COMPILE_OPTIONS -Wa,-mbig-obj)
  # Programs find the libraries that they are linked with beside themselves.
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()
# A compiler that nobody has tried may warn of what is right: its warnings never end a build.
string(REGEX REPLACE "\\..*" "" compiler ${CMAKE_CXX_COMPILER_ID}-${CMAKE_CXX_COMPILER_VERSION})
if(compiler IN_LIST KELINFRA_WARNINGS_AS_ERRORS)
  list(APPEND KELINFRA_COMPILE_OPTIONS -Werror)
endif()

set(KELINFRA_LINK_OPTIONS "")

# Hardening; the sanitizers bring checks of their own.
if(NOT WIN32 AND NOT KELINFRA_SANITIZE)
  list(APPEND KELINFRA_COMPILE_OPTIONS -fstack-protector-strong -fstack-clash-protection
       # The C library's checked functions exist for optimised code only.
       $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND KELINFRA_COMPILE_OPTIONS -fcf-protection=full)
  endif()
endif()

if(KELINFRA_SANITIZE)
  list(APPEND KELINFRA_COMPILE_OPTIONS -fsanitize=${KELINFRA_SANITIZE} -fno-sanitize-recover=all
       -fno-omit-frame-pointer)
  list(APPEND KELINFRA_LINK_OPTIONS -fsanitize=${KELINFRA_SANITIZE})
endif()
if(KELINFRA_COVERAGE)
  list(APPEND KELINFRA_COMPILE_OPTIONS --coverage -fprofile-update=atomic)
  list(APPEND KELINFRA_LINK_OPTIONS --coverage)
endif()

# kelinfra_configure(TARGET [STANDARD])
function(kelinfra_configure target)
  set(standard 20)
  if(ARGC GREATER 1)
    set(standard ${ARGV1})
  endif()
  set_target_properties(${target} PROPERTIES CXX_STANDARD ${standard} CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE ${KELINFRA_COMPILE_OPTIONS})
  target_link_options(${target} PRIVATE ${KELINFRA_LINK_OPTIONS})
  if(WIN32)
    # Of Windows 7 and later. Its min and max are no macros in the project's own sources.
    target_compile_definitions(${target} PRIVATE _WIN32_WINNT=0x0601 NOMINMAX WIN32_LEAN_AND_MEAN)
  endif()
endfunction()

# Compile and link options of every target of the project.

set(KELINFRA_COMPILE_OPTIONS
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-qual -Wformat=2 -Wundef -Wdouble-promotion -Wnull-dereference
    # The library calls its functions directly: preloaded libraries cannot replace them.
    -fno-semantic-interposition
    # The shipped files contain no path of the building machine. Messages record base names anyway.
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(WIN32)
  # The tests' many templates need more sections than the old object format can count.
  list(APPEND KELINFRA_COMPILE_OPTIONS -Wa,-mbig-obj)
  # A program finds the libraries that it is linked with in its own folder.
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()
# An untested compiler may warn about correct code. Its warnings never end a build.
string(REGEX REPLACE "\\..*" "" compiler ${CMAKE_CXX_COMPILER_ID}-${CMAKE_CXX_COMPILER_VERSION})
if(compiler IN_LIST KELINFRA_WARNINGS_AS_ERRORS)
  list(APPEND KELINFRA_COMPILE_OPTIONS -Werror)
endif()

set(KELINFRA_LINK_OPTIONS "")

# Hardening options. Sanitizers do such checks themselves.
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
  set_target_properties(${target} PROPERTIES
      CXX_STANDARD ${standard} CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE ${KELINFRA_COMPILE_OPTIONS})
  target_link_options(${target} PRIVATE ${KELINFRA_LINK_OPTIONS})
  if(WIN32)
    # The interface of Windows 7 and later. Without NOMINMAX, min and max would be macros in the project's
    # sources.
    target_compile_definitions(${target} PRIVATE _WIN32_WINNT=0x0601 NOMINMAX WIN32_LEAN_AND_MEAN)
  endif()
endfunction()

# The oldest versions that the library may be built with; it is tested with them. docs/platforms.md names the
# same versions. CMakeLists.txt contains the oldest version of CMake.
set(KELINFRA_OLDEST_GNU 12)
set(KELINFRA_OLDEST_Clang 14)
set(KELINFRA_OLDEST_ICU 72)
set(KELINFRA_OLDEST_Highway 1.0.3)

# kelinfra_require(KIND VERSION WHERE): KIND is one of the above.
function(kelinfra_require kind version where)
  if(DEFINED KELINFRA_OLDEST_${kind} AND version VERSION_LESS KELINFRA_OLDEST_${kind})
    message(FATAL_ERROR "${kind} ${version} (${where}) is too old: "
                        "KELINFRA needs ${kind} ${KELINFRA_OLDEST_${kind}} or later")
  endif()
endfunction()

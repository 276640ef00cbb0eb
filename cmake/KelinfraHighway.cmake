# Highway, of which only headers are used, the same for every target. A cross compiler takes them from the building
# machine, whose other headers must stay out of its sight: they are reached through a folder that holds nothing else.
find_path(KELINFRA_HIGHWAY_HEADERS hwy/highway.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH
          DOC "The folder that has Highway's headers in its folder hwy")
if(NOT KELINFRA_HIGHWAY_HEADERS)
  message(FATAL_ERROR "Highway's headers are missing (Debian: libhwy-dev)")
endif()
# Where the version is stated depends on the version.
set(highway_version)
foreach(part IN ITEMS MAJOR MINOR PATCH)
  foreach(header IN ITEMS highway base)
    file(STRINGS ${KELINFRA_HIGHWAY_HEADERS}/hwy/${header}.h line REGEX "^#define HWY_${part} [0-9]+$")
    string(REGEX MATCH "[0-9]+" number "${line}")
    list(APPEND highway_version ${number})
  endforeach()
endforeach()
list(JOIN highway_version . highway_version)
kelinfra_require(Highway "${highway_version}" ${KELINFRA_HIGHWAY_HEADERS})
set(KELINFRA_HIGHWAY_INCLUDE_DIR ${PROJECT_BINARY_DIR}/highway)
file(MAKE_DIRECTORY ${KELINFRA_HIGHWAY_INCLUDE_DIR})
file(CREATE_LINK ${KELINFRA_HIGHWAY_HEADERS}/hwy ${KELINFRA_HIGHWAY_INCLUDE_DIR}/hwy SYMBOLIC)

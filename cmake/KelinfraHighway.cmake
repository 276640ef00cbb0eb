# Finds Highway. Only its headers are used, and they are the same for every target. A cross compiler uses the
# headers of the building machine. The other headers of that machine must stay invisible to it, so Highway's
# are reached through a folder that contains nothing else.
find_path(KELINFRA_HIGHWAY_HEADERS hwy/highway.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH
          DOC "The folder that contains Highway's folder hwy")
if(NOT KELINFRA_HIGHWAY_HEADERS)
  message(FATAL_ERROR "Highway's headers are missing (Debian: libhwy-dev)")
endif()
# The version is in highway.h or in base.h, depending on the version.
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

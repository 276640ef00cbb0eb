# Builds for another processor, for scripts/machines. It sets KELINFRA_MACHINE, the GNU name of the machine,
# and KELINFRA_SYSROOT, a folder with the packages of its Debian; KELINFRA_EMULATOR runs its programs and is
# empty for the processor of this machine.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KELINFRA_MACHINE KELINFRA_SYSROOT KELINFRA_EMULATOR)
set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${KELINFRA_MACHINE})
string(REPLACE powerpc ppc CMAKE_SYSTEM_PROCESSOR ${CMAKE_SYSTEM_PROCESSOR})  # as Linux names it
set(CMAKE_CXX_COMPILER ${KELINFRA_MACHINE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${KELINFRA_MACHINE})

# The compiler comes with a C library, which can be older than the folder's.
set(CMAKE_SYSROOT ${KELINFRA_SYSROOT})
set(folders /usr/lib/${KELINFRA_MACHINE} /lib/${KELINFRA_MACHINE})
foreach(kind EXE SHARED MODULE)
  foreach(folder ${folders})
    string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT
           " -L${KELINFRA_SYSROOT}${folder} -Wl,-rpath-link,${KELINFRA_SYSROOT}${folder}")
  endforeach()
endforeach()

set(CMAKE_FIND_ROOT_PATH ${KELINFRA_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(KELINFRA_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KELINFRA_EMULATOR} -L ${KELINFRA_SYSROOT})
endif()

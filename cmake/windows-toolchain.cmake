# Windows x64, with mingw-w64's GCC in its variant with POSIX threads, which std::thread and std::mutex need.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Tools are this machine's; headers and libraries are Windows' and what the prefix path names.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# What is run, tests among it, is run by Wine.
find_program(KELINFRA_WINE NAMES wine wine64 wine64-stable PATHS /usr/lib/wine)
set(CMAKE_CROSSCOMPILING_EMULATOR ${KELINFRA_WINE})

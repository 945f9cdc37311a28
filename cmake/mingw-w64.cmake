# SPDX-License-Identifier: Apache-2.0
#
# Builds for 64-bit Windows on Debian, with the packages g++-mingw-w64-x86-64-posix and googletest,
# and runs the tests under Wine:
#
#   cmake -S . -B build-windows --toolchain cmake/mingw-w64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VEK_MINGW x86_64-w64-mingw32)
# The compilers with POSIX threads: the others have no std::thread. C is for GoogleTest's set-up.
set(CMAKE_C_COMPILER ${VEK_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VEK_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${VEK_MINGW}-windres)

# Libraries and headers are those of Windows, programs that the build runs are those of this machine.
set(CMAKE_FIND_ROOT_PATH /usr/${VEK_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Wine keeps its Windows in the build folder and asks for none of the parts that it has no use for.
# Debian keeps the loader out of the path; its script in the path warns of missing 32-bit programs.
find_program(VEK_WINE NAMES wine64 wine HINTS /usr/lib/wine)
if(VEK_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env
    WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= WINEPREFIX=${CMAKE_BINARY_DIR}/wine ${VEK_WINE})
endif()

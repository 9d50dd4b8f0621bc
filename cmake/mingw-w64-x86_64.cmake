# The Windows program, cross-built on Debian with mingw-w64:
#   cmake -S . -B build-windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
# Test programs run under Wine (CMAKE_CROSSCOMPILING_EMULATOR).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The -posix compilers: the plain names use the win32 thread model, which has
# no std::thread.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Every program self-contained: the C and C++ runtimes and winpthreads linked
# in, so that an .exe needs only the DLLs every Windows has.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

find_program(GLINTBOOK_WINE NAMES wine wine64)
if(GLINTBOOK_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${GLINTBOOK_WINE})
endif()

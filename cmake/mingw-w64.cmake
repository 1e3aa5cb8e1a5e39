# Toolchain file: 64-bit Windows on a Linux machine, with MinGW-w64's GCC and Wine.
#
# tools/get-windows-packages installs the packages for the build in the folder that is searched
# here.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The variant with POSIX threads; the other one has no std::thread.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(FACEFEATURE_WINDOWS_PACKAGES ${CMAKE_CURRENT_LIST_DIR}/../build/windows-packages/prefix
    CACHE PATH "What tools/get-windows-packages has made")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES FACEFEATURE_WINDOWS_PACKAGES)
set(CMAKE_FIND_ROOT_PATH ${FACEFEATURE_WINDOWS_PACKAGES} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Static archives only, so that programs need no other DLLs beside them.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)

# On Windows stacks are aligned to 16 bytes, but GCC assumes 32 when it moves AVX registers.
set(CMAKE_C_FLAGS_INIT -Wa,-muse-unaligned-vector-move)
set(CMAKE_CXX_FLAGS_INIT -Wa,-muse-unaligned-vector-move)
# Each program and DLL contains the runtimes of C++, OpenMP and POSIX threads.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/windows/run-in-wine)

# The device: 32-bit big-endian PowerPC Linux, built with Debian's cross compiler and run under
# QEMU's user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)

# Without the compiler CMake would keep the desk's ar and strip in the cache, and use them even
# after the compiler is installed.
find_program(SUBTITLE_TARGET_COMPILER powerpc-linux-gnu-g++ NO_CMAKE_FIND_ROOT_PATH)
if(NOT SUBTITLE_TARGET_COMPILER)
  message(FATAL_ERROR "No powerpc-linux-gnu-g++; script/bootstrap device installs it")
endif()
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)

# All headers and libraries of the device are in this folder. After its own folders Debian's cross
# compiler searches /usr/include, where it would silently take the build machine's header instead of
# a missing one; -isysroot prevents that.
set(SUBTITLE_TARGET_ROOT /usr/powerpc-linux-gnu)
set(CMAKE_CXX_FLAGS_INIT "-isysroot ${SUBTITLE_TARGET_ROOT}")
set(CMAKE_C_FLAGS_INIT "-isysroot ${SUBTITLE_TARGET_ROOT}")
set(CMAKE_FIND_ROOT_PATH ${SUBTITLE_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# -L: the folder with the loader and the libraries of programs that are not static.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L ${SUBTITLE_TARGET_ROOT})

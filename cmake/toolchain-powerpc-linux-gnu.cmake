# The device: 32-bit big-endian PowerPC Linux, built with Debian's cross compiler and run under
# QEMU's user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)

# Without the compiler CMake would keep the desk's ar and strip in the cache, and use them from then
# on, the compiler installed or not.
find_program(SUBTITLE_TARGET_COMPILER powerpc-linux-gnu-g++ NO_CMAKE_FIND_ROOT_PATH)
if(NOT SUBTITLE_TARGET_COMPILER)
  message(FATAL_ERROR "No powerpc-linux-gnu-g++; script/bootstrap device installs it")
endif()
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)

# What belongs to the target is here and nowhere else. Debian's cross compiler would look into
# /usr/include after its own folders, where a missing header of the target is silently replaced by
# that of the build machine; the other place for system headers ends that.
set(SUBTITLE_TARGET_ROOT /usr/powerpc-linux-gnu)
set(CMAKE_CXX_FLAGS_INIT "-isysroot ${SUBTITLE_TARGET_ROOT}")
set(CMAKE_C_FLAGS_INIT "-isysroot ${SUBTITLE_TARGET_ROOT}")
set(CMAKE_FIND_ROOT_PATH ${SUBTITLE_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# -L: where programs that are not static find their loader and libraries.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L ${SUBTITLE_TARGET_ROOT})

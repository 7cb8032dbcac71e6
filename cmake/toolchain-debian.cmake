# SPDX-License-Identifier: MIT
# Builds for another processor with Debian's cross compilers. VELUTILS_ARCHITECTURE is Debian's name
# of the target: armhf (the 32-bit ARM of the routers), arm64, mipsel or s390x. VELUTILS_SYSROOT is the
# folder with the target's libevent, which tools/sysroot fills. Programs run under qemu-user.

set(VELUTILS_ARCHITECTURE armhf CACHE STRING "The processor, as Debian names it")
set(VELUTILS_SYSROOT "" CACHE PATH "Where the target's packages are unpacked")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELUTILS_ARCHITECTURE VELUTILS_SYSROOT)

# The kernel's name of the processor, the compiler's name of the target, the emulator.
set(armhf armv7l arm-linux-gnueabihf qemu-arm)
set(arm64 aarch64 aarch64-linux-gnu qemu-aarch64)
set(mipsel mips mipsel-linux-gnu qemu-mipsel)
set(s390x s390x s390x-linux-gnu qemu-s390x)
if(NOT VELUTILS_ARCHITECTURE MATCHES "^(armhf|arm64|mipsel|s390x)$")
  message(FATAL_ERROR "No processor is known by the name ${VELUTILS_ARCHITECTURE}")
endif()
list(GET ${VELUTILS_ARCHITECTURE} 0 CMAKE_SYSTEM_PROCESSOR)
list(GET ${VELUTILS_ARCHITECTURE} 1 target)
list(GET ${VELUTILS_ARCHITECTURE} 2 emulator)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${target}-gcc)
set(CMAKE_CXX_COMPILER ${target}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${target})
set(CMAKE_FIND_ROOT_PATH ${VELUTILS_SYSROOT} /usr/${target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${target})

# SPDX-License-Identifier: MIT
# 32-bit ARM hard-float, the platform of the routers. Debian's cross compiler; target packages come
# from the sysroot that tools/armhf-sysroot fills; test programs run under qemu-user.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(VELUTILS_ARMHF_SYSROOT "" CACHE PATH "Where tools/armhf-sysroot unpacked the target's packages")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELUTILS_ARMHF_SYSROOT)
set(CMAKE_FIND_ROOT_PATH ${VELUTILS_ARMHF_SYSROOT} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)

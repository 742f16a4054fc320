# Cross build for the module: 32-bit ARM Linux, hard-float EABI (Debian's
# g++-arm-linux-gnueabihf). Target programs run under qemu-arm, which takes the
# target's dynamic loader and C library from the cross sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(VG_TARGET_TRIPLE arm-linux-gnueabihf)
set(VG_TARGET_SYSROOT /usr/${VG_TARGET_TRIPLE})

set(CMAKE_C_COMPILER ${VG_TARGET_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${VG_TARGET_TRIPLE}-g++)

# Headers and libraries come from the target's tree only; programs (the build
# tools) from the build machine.
set(CMAKE_FIND_ROOT_PATH ${VG_TARGET_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# CTest starts every target program of add_test(COMMAND <target>) through
# this. qemu-arm cannot follow an exec of another ARM program, so a test that
# starts target programs itself must start them through
# ${CMAKE_CROSSCOMPILING_EMULATOR} too.
find_program(VG_QEMU_ARM qemu-arm)
if(VG_QEMU_ARM)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${VG_QEMU_ARM} -L ${VG_TARGET_SYSROOT})
else()
  message(WARNING "qemu-arm not found: the tests cannot run on this machine")
endif()

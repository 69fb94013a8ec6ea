# 32-bit ARM, hard-float ABI, NEON and VFPv4 (Debian's g++-arm-linux-gnueabihf).
# Programs built with it run under qemu-arm with the cross sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(ZQ_ARM_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${ZQ_ARM_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${ZQ_ARM_TRIPLE}-g++)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a -mfpu=neon-vfpv4 -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a -mfpu=neon-vfpv4 -mfloat-abi=hard")

set(CMAKE_FIND_ROOT_PATH /usr/${ZQ_ARM_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${ZQ_ARM_TRIPLE})

# Cross build for 64-bit Arm Linux with Debian's cross compilers; the binaries run under qemu's
# user-mode emulator with the cross libc, so tests can execute on the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(PROC_LAUNCHER_CROSS_TRIPLET aarch64-linux-gnu)
set(PROC_LAUNCHER_CROSS_SYSROOT /usr/${PROC_LAUNCHER_CROSS_TRIPLET})

set(CMAKE_C_COMPILER ${PROC_LAUNCHER_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PROC_LAUNCHER_CROSS_TRIPLET}-g++)

# Libraries and packages come from the cross sysroot or from prefixes given for this build
# (CMAKE_PREFIX_PATH, <Package>_DIR), never from the build machine's own directories.
list(APPEND CMAKE_FIND_ROOT_PATH ${PROC_LAUNCHER_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(PROC_LAUNCHER_QEMU qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PROC_LAUNCHER_QEMU} -L ${PROC_LAUNCHER_CROSS_SYSROOT})

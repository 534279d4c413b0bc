# For the device's processor: 32-bit ARM with hardware floating point. What runs during the build
# and in the tests runs under emulation. scripts/armhf-sysroot makes the sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(triplet arm-linux-gnueabihf)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
# Not a word about the layout of arguments that changed with g++ 7: everything is built anew.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot")
# Looking for leaks takes ptrace, which the emulator does not have. Its own option for variables
# would not do: AddressSanitizer reads them from /proc.
set(CMAKE_CROSSCOMPILING_EMULATOR
  env ASAN_OPTIONS=detect_leaks=0 qemu-arm-static -L "${CMAKE_SYSROOT}")

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
  "${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")

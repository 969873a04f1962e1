# SPDX-License-Identifier: BSD-3-Clause
# Cross-compiles for 64-bit Arm Linux with Debian's g++-aarch64-linux-gnu and runs programs under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
if(NOT EXISTS /lib/ld-linux-aarch64.so.1)
  # Without arm64 packages there are only the cross compiler's libraries. The dynamic loader of one
  # set and the C library of the other do not work together: threads hang.
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -L /usr/aarch64-linux-gnu)
endif()
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

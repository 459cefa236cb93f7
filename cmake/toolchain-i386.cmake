# 32-bit x86 (32-bit long, pointers and size_t; little-endian) with Debian's
# g++-i686-linux-gnu. The programs run natively, with the machine's own 32-bit
# C library and libstdc++ (libc6-i386, lib32stdc++6), so no emulator.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(INETMGR_CROSS_TRIPLET i686-linux-gnu)
set(INETMGR_CROSS_MULTIARCH i386-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)

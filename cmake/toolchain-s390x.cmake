# 64-bit IBM Z (big-endian) with Debian's g++-s390x-linux-gnu; the programs
# run under qemu-user. What a program starts itself (a death test's child)
# goes through binfmt_misc (scripts/test-cross.sh registers qemu for it) and
# finds the C library through QEMU_LD_PREFIX, inherited from the first. The
# C.UTF-8 locale comes from the target's libc-bin: compiled locales follow
# the byte order, so the machine's own cannot be read.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(INETMGR_CROSS_TRIPLET s390x-linux-gnu)
set(INETMGR_CROSS_MULTIARCH s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-s390x-static -L /usr/s390x-linux-gnu
  -E QEMU_LD_PREFIX=/usr/s390x-linux-gnu -E LOCPATH=$ENV{INETMGR_CROSS_SYSROOT}/usr/lib/locale)

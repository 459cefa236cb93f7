# Shared part of the Debian cross toolchains (toolchain-i386.cmake and the
# others set INETMGR_CROSS_TRIPLET, the compiler's prefix, and
# INETMGR_CROSS_MULTIARCH, Debian's library folder name, then include this).
# The target's libraries come from Debian's packages of that architecture,
# unpacked by scripts/test-cross.sh into a private root given by the
# environment variable INETMGR_CROSS_SYSROOT; the C library and libstdc++
# built against are the cross compiler's own, under /usr/<triplet>.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${INETMGR_CROSS_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${INETMGR_CROSS_MULTIARCH})

if(NOT DEFINED ENV{INETMGR_CROSS_SYSROOT})
  message(FATAL_ERROR "INETMGR_CROSS_SYSROOT is not set: run scripts/test-cross.sh, which unpacks the target's packages")
endif()
set(_sysroot $ENV{INETMGR_CROSS_SYSROOT})

set(CMAKE_FIND_ROOT_PATH ${_sysroot} /usr/${INETMGR_CROSS_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The target's configuration headers (openssl/configuration.h) live in the
# multiarch folder, which the cross compiler does not search; after its own
# folders, so nothing there can shadow the C library's headers.
set(CMAKE_CXX_FLAGS_INIT "-idirafter ${_sysroot}/usr/include/${INETMGR_CROSS_MULTIARCH}")
# Libraries needed by the libraries we link (libcrypto by libinetmgr.so).
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_sysroot}/usr/lib/${INETMGR_CROSS_MULTIARCH}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_sysroot}/usr/lib/${INETMGR_CROSS_MULTIARCH}")

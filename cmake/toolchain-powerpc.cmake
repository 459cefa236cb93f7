# 32-bit PowerPC (big-endian), the agent's own platform, with Debian's
# g++-powerpc-linux-gnu. Debian 12 has no powerpc port, so there are no
# powerpc builds of Boost.Serialization, OpenSSL or pugixml to link against:
# find_package() is answered by toolchain-powerpc-headers.cmake with those
# packages' headers only, and what can be built is every object of the
# library and the tool (scripts/test-cross.sh powerpc), not a program to run.
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(INETMGR_CROSS_TRIPLET powerpc-linux-gnu)
set(INETMGR_CROSS_MULTIARCH powerpc-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)
set(CMAKE_PROJECT_TOP_LEVEL_INCLUDES ${CMAKE_CURRENT_LIST_DIR}/toolchain-powerpc-headers.cmake)

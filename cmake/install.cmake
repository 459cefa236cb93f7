# Installs the shared library, the public headers, a CMake package
# (find_package(inetmgr CONFIG) -> inetmgr::inetmgr) and inetmgr.pc.
include(CMakePackageConfigHelpers)

install(TARGETS inetmgr EXPORT inetmgrTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/inetmgr
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")

set(INETMGR_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/inetmgr)
install(EXPORT inetmgrTargets NAMESPACE inetmgr:: DESTINATION ${INETMGR_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/inetmgrConfig.cmake.in
  ${PROJECT_BINARY_DIR}/inetmgrConfig.cmake INSTALL_DESTINATION ${INETMGR_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/inetmgrConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/inetmgrConfig.cmake ${PROJECT_BINARY_DIR}/inetmgrConfigVersion.cmake
  DESTINATION ${INETMGR_CMAKE_DIR})

# The .pc file finds its prefix relative to itself, however deep the libdir is.
string(REGEX MATCHALL "[^/]+" _pc_parts "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
set(INETMGR_PC_PREFIX "\${pcfiledir}")
foreach(_part IN LISTS _pc_parts)
  string(APPEND INETMGR_PC_PREFIX "/..")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/inetmgr.pc.in ${PROJECT_BINARY_DIR}/inetmgr.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/inetmgr.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

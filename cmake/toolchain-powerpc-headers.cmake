# Answers find_package() for the powerpc build (toolchain-powerpc.cmake) with
# header-only targets from INETMGR_CROSS_SYSROOT: enough to compile every
# object, nothing to link. Packages it does not know go to find_package itself.
macro(inetmgr_headers_only method package)
  set(_inetmgr_headers_targets "")
  if("${package}" STREQUAL "Boost")
    set(_inetmgr_headers_targets Boost::headers Boost::serialization)
    set(Boost_VERSION 1.74.0)
  elseif("${package}" STREQUAL "OpenSSL")
    set(_inetmgr_headers_targets OpenSSL::Crypto)
    set(OPENSSL_VERSION 3.0.0)
  elseif("${package}" STREQUAL "pugixml")
    set(_inetmgr_headers_targets pugixml::pugixml)
  elseif("${package}" STREQUAL "nlohmann_json")
    set(_inetmgr_headers_targets nlohmann_json::nlohmann_json)
  endif()
  foreach(_inetmgr_target IN LISTS _inetmgr_headers_targets)
    if(NOT TARGET ${_inetmgr_target})
      add_library(${_inetmgr_target} INTERFACE IMPORTED)
      set_target_properties(${_inetmgr_target} PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES $ENV{INETMGR_CROSS_SYSROOT}/usr/include)
    endif()
  endforeach()
  if(_inetmgr_headers_targets)
    set(${package}_FOUND TRUE)
  endif()
endmacro()

cmake_language(SET_DEPENDENCY_PROVIDER inetmgr_headers_only SUPPORTED_METHODS FIND_PACKAGE)

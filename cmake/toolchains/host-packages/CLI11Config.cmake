# CLI11 for a cross build: the build machine's header-only CLI11 (Debian:
# libcli11-dev), seen through a folder that holds nothing but its headers.
# Its own package would add the host's /usr/include, whose C library headers
# must never reach the cross compiler.
find_path(TAVRIC_HOST_CLI11_INCLUDE_DIR CLI/CLI.hpp
  PATHS /usr/include /usr/local/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT TAVRIC_HOST_CLI11_INCLUDE_DIR)
  set(CLI11_FOUND FALSE)
  set(CLI11_NOT_FOUND_MESSAGE "CLI/CLI.hpp not found on the build machine (Debian: libcli11-dev)")
  return()
endif()
if(NOT TARGET CLI11::CLI11)
  set(_tavric_dir ${CMAKE_BINARY_DIR}/host-headers/CLI11)
  file(MAKE_DIRECTORY ${_tavric_dir})
  file(CREATE_LINK ${TAVRIC_HOST_CLI11_INCLUDE_DIR}/CLI ${_tavric_dir}/CLI SYMBOLIC)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  set_target_properties(CLI11::CLI11 PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${_tavric_dir})
  unset(_tavric_dir)
endif()
set(CLI11_FOUND TRUE)

# Eigen for a cross build: the build machine's header-only Eigen (Debian:
# libeigen3-dev). Its include folder holds nothing but Eigen's own headers,
# so it can be handed to the cross compiler as it is.
find_path(TAVRIC_HOST_EIGEN3_INCLUDE_DIR Eigen/Dense
  PATHS /usr/include/eigen3 /usr/local/include/eigen3 NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(NOT TAVRIC_HOST_EIGEN3_INCLUDE_DIR)
  set(Eigen3_FOUND FALSE)
  set(Eigen3_NOT_FOUND_MESSAGE "Eigen/Dense not found on the build machine (Debian: libeigen3-dev)")
  return()
endif()
if(NOT TARGET Eigen3::Eigen)
  add_library(Eigen3::Eigen INTERFACE IMPORTED)
  set_target_properties(Eigen3::Eigen PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES ${TAVRIC_HOST_EIGEN3_INCLUDE_DIR})
endif()
set(Eigen3_FOUND TRUE)

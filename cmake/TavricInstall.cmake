# Install rules of the library: the static library, the public headers (with
# the generated Version.h), the CMake package files (find_package(tavric
# CONFIG) gives the target tavric::tavric) and a pkg-config file. Every
# installed file is found relative to the prefix, so an installed tree can be
# moved.
include(CMakePackageConfigHelpers)

set(TAVRIC_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/tavric)

install(TARGETS tavric
  EXPORT tavricTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/tavric
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/src/generated/tavric/Version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tavric)

install(EXPORT tavricTargets
  NAMESPACE tavric::
  FILE tavricTargets.cmake
  DESTINATION ${TAVRIC_CMAKE_DIR})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tavricConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tavricConfig.cmake
  INSTALL_DESTINATION ${TAVRIC_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tavricConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tavricConfig.cmake
              ${PROJECT_BINARY_DIR}/tavricConfigVersion.cmake
  DESTINATION ${TAVRIC_CMAKE_DIR})

# pkg-config: the prefix is found from the .pc file's own folder.
set(TAVRIC_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH TAVRIC_PKGCONFIG_TO_PREFIX /prefix/${TAVRIC_PKGCONFIG_DIR} /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/tavric.pc.in ${PROJECT_BINARY_DIR}/tavric.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tavric.pc DESTINATION ${TAVRIC_PKGCONFIG_DIR})

# The licence text beside the documentation.
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

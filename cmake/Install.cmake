# Install rules: headers, library, CMake package config and pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS psdkit EXPORT psdkit-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# Internal helpers (the bounded reader every parser reads through) stay out.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/psdkit/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/psdkit
  FILES_MATCHING PATTERN "*.h"
  PATTERN "PSDBoundedReader.h" EXCLUDE)

set(PSDKIT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/psdkit)
install(EXPORT psdkit-targets NAMESPACE psdkit:: DESTINATION ${PSDKIT_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/psdkit-config.cmake.in
  ${PROJECT_BINARY_DIR}/psdkit-config.cmake INSTALL_DESTINATION ${PSDKIT_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/psdkit-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/psdkit-config.cmake ${PROJECT_BINARY_DIR}/psdkit-config-version.cmake
  DESTINATION ${PSDKIT_CMAKE_DIR})

configure_file(${PROJECT_SOURCE_DIR}/cmake/psdkit.pc.in ${PROJECT_BINARY_DIR}/psdkit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/psdkit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

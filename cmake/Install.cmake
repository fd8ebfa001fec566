# Libraries, headers, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS vesta2 EXPORT vesta2Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Loaded by the library, from beside it.
install(TARGETS vesta2_log LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY
  vesta2/include/
  platform/basekit2/include/
  platform/optstore2/include/
  platform/notify2/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "message_catalog.h" EXCLUDE PATTERN "data_files.h" EXCLUDE)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vesta2)
install(EXPORT vesta2Targets NAMESPACE vesta2:: DESTINATION ${package_dir})
configure_package_config_file(cmake/vesta2Config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/vesta2Config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/vesta2ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vesta2Config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vesta2ConfigVersion.cmake
  DESTINATION ${package_dir})

configure_file(cmake/vesta2.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vesta2.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vesta2.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Libraries, data files, headers, the command, the CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS vesta2 EXPORT vesta2Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Loaded by the library, and by nobody else.
install(TARGETS vesta2_log LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${VESTA2_MODULE_DIR})
install(FILES share/vesta2/product.xml share/vesta2/vesta2.catalog.xml
  share/vesta2/vesta2.schema.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/vesta2)
install(DIRECTORY
  vesta2/include/
  platform/basekit2/include/
  platform/optstore2/include/
  platform/notify2/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "message_catalog.h" EXCLUDE PATTERN "data_files.h" EXCLUDE
  PATTERN "directory_listing.h" EXCLUDE PATTERN "file_error.h" EXCLUDE)

if(VESTA2_BUILD_CLI)
  install(TARGETS vesta2_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES share/completions/vesta2.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vesta2)
  # Debian's zsh searches the one below /usr, as packages have it, and the other below /usr/local.
  set(zsh_dir site-functions)
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zsh_dir vendor-completions)
  endif()
  install(FILES share/completions/_vesta2 DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_dir})
  install(FILES share/completions/vesta2.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  if(TARGET vesta2_manual)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/cli/vesta2.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endif()
endif()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vesta2)
install(EXPORT vesta2Targets NAMESPACE vesta2:: DESTINATION ${package_dir})
configure_package_config_file(cmake/vesta2Config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/vesta2Config.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/vesta2ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/vesta2Config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/vesta2ConfigVersion.cmake
  DESTINATION ${package_dir})

# The package can be moved as a whole: the prefix is told from where its file is, however deep that
# is, unless the libraries are installed outside of it.
set(pc_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH pc_up ${pc_dir} ${CMAKE_INSTALL_PREFIX})
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${pc_up}")
endif()
foreach(dir INCLUDEDIR LIBDIR)
  string(TOLOWER pc_${dir} variable)
  set(${variable} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(${variable} ${CMAKE_INSTALL_${dir}})
  endif()
endforeach()
configure_file(cmake/vesta2.pc.in ${CMAKE_CURRENT_BINARY_DIR}/vesta2.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vesta2.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DMANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
      -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
    VERBATIM)
endif()

include(CMakePackageConfigHelpers)

# Installs a library and its public headers, with a CMake package and a pkg-config module of the library's
# name. The namespace of the targets is velmo.
# usage: velmo_install_library(LIBRARY DESCRIPTION)
function(velmo_install_library library description)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${library})
  set(file ${CMAKE_CURRENT_BINARY_DIR}/${library})
  install(TARGETS ${library} EXPORT ${library}Targets
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmo)
  install(EXPORT ${library}Targets NAMESPACE velmo:: DESTINATION ${package_dir})
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/packageConfig.cmake.in
    ${file}Config.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${file}ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(FILES ${file}Config.cmake ${file}ConfigVersion.cmake DESTINATION ${package_dir})

  # The file finds the prefix from its own place, wherever the package is installed or moved to.
  file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package.pc.in ${file}.pc @ONLY)
  install(FILES ${file}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

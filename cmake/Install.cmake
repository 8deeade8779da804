include(CMakePackageConfigHelpers)

# install(), if this tree is to be installed: a project that contains it installs what it wants.
function(velmo_install)
  if(VELMO_INSTALL)
    install(${ARGV})
  endif()
endfunction()

# Installs a library and its public headers, with a CMake package and a pkg-config module of the library's
# name. The namespace of the targets is velmo. A program that links an archive also links what the archive
# needs: DEPENDENCIES is a file of CMake commands that find it, MODULES are its pkg-config modules, and
# LIBRARIES are the names of what has none.
# usage: velmo_install_library(LIBRARY DESCRIPTION TEXT DEPENDENCIES FILE [MODULES NAME...]
#   [LIBRARIES NAME...])
function(velmo_install_library library)
  if(NOT VELMO_INSTALL)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 given "" "DESCRIPTION;DEPENDENCIES" "MODULES;LIBRARIES")
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${library})
  set(file ${CMAKE_CURRENT_BINARY_DIR}/${library})
  install(TARGETS ${library} EXPORT ${library}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
    PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velmo COMPONENT Development)
  install(EXPORT ${library}Targets NAMESPACE velmo:: DESTINATION ${package_dir} COMPONENT Development)

  set(dependencies "")
  set(pc_dependencies "")
  get_target_property(type ${library} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    file(READ ${given_DEPENDENCIES} dependencies)
    velmo_pc_dependencies(pc_dependencies "${given_MODULES}" "${given_LIBRARIES}")
    string(REGEX MATCHALL "Find[A-Za-z]+[.]cmake" included "${dependencies}")
    list(TRANSFORM included PREPEND ${PROJECT_SOURCE_DIR}/cmake/)
    install(FILES ${included} DESTINATION ${package_dir} COMPONENT Development)
  endif()
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/packageConfig.cmake.in
    ${file}Config.cmake INSTALL_DESTINATION ${package_dir})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/packageConfigVersion.cmake.in
    ${file}ConfigVersion.cmake @ONLY)
  install(FILES ${file}Config.cmake ${file}ConfigVersion.cmake DESTINATION ${package_dir}
    COMPONENT Development)

  # The file finds the prefix from its own place, wherever the package is installed or moved to.
  file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package.pc.in ${file}.pc @ONLY)
  install(FILES ${file}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
endfunction()

# The lines of an archive in a pkg-config file. The archive is alone in its prefix, so --libs without
# --static also names what it needs.
function(velmo_pc_dependencies result modules libraries)
  velmo_cxx_runtime(runtime)
  find_package(Threads QUIET)
  list(APPEND libraries ${runtime})
  list(TRANSFORM libraries PREPEND "-l")
  list(JOIN libraries " " libraries)
  string(STRIP "${libraries} ${CMAKE_THREAD_LIBS_INIT}" libraries)
  list(JOIN modules " " modules)
  set(${result} " ${libraries}\nRequires: ${modules}" PARENT_SCOPE)
endfunction()

# What a program in C links for an archive of C++.
function(velmo_cxx_runtime result)
  set(names ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
  list(FILTER names INCLUDE REGEX "^(stdc\\+\\+|c\\+\\+|c\\+\\+abi|m)$")
  list(REMOVE_DUPLICATES names)
  set(${result} ${names} PARENT_SCOPE)
endfunction()

# Finds a package that the build needs. If it is missing, CMake stops with the name of the Debian package
# that contains it, and with the option that turns off the part that needs it.
# usage: velmo_find_needed(NAME DEBIAN PACKAGE [OPTION NAME] [ARGUMENTS OF find_package...])
function(velmo_find_needed name)
  cmake_parse_arguments(PARSE_ARGV 1 needed "" "DEBIAN;OPTION" "")
  find_package(${name} ${needed_UNPARSED_ARGUMENTS} QUIET)
  if(NOT ${name}_FOUND)
    velmo_report_missing("${name}" "${needed_DEBIAN}" "${needed_OPTION}"
      ${needed_UNPARSED_ARGUMENTS})
  endif()
endfunction()

function(velmo_report_missing name debian option)
  list(JOIN ARGN " " arguments)
  string(STRIP "${name} ${arguments}" wanted)
  set(text "Not found: ${wanted}.\nOn Debian: apt install ${debian}")
  if(option)
    string(APPEND text "\nOr do without: cmake -D${option}=OFF ...")
  endif()
  message(FATAL_ERROR "${text}")
endfunction()

# Finds a C library that comes without a CMake package. Its target is NAME::NAME.
# usage: velmo_find_library(NAME HEADER FILE DEBIAN PACKAGE)
function(velmo_find_library name)
  cmake_parse_arguments(PARSE_ARGV 1 needed "" "HEADER;DEBIAN" "")
  find_path(${name}_INCLUDE_DIR ${needed_HEADER})
  find_library(${name}_LIBRARY ${name})
  mark_as_advanced(${name}_INCLUDE_DIR ${name}_LIBRARY)
  if(NOT ${name}_INCLUDE_DIR OR NOT ${name}_LIBRARY)
    velmo_report_missing("${name}" "${needed_DEBIAN}" "")
  endif()
  add_library(${name}::${name} UNKNOWN IMPORTED GLOBAL)
  set_target_properties(${name}::${name} PROPERTIES
    IMPORTED_LOCATION ${${name}_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${${name}_INCLUDE_DIR})
endfunction()

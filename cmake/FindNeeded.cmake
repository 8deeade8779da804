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
  set(text "${wanted} not found; on Debian: apt install ${debian}")
  if(option)
    string(APPEND text "; or do without: -D${option}=OFF")
  endif()
  # A line that begins with a blank is not broken.
  message(FATAL_ERROR " ${text}")
endfunction()

# Finds a C library that comes without a CMake package: see velmo_find_c_library.
# usage: velmo_find_needed_library(NAME HEADER DEBIAN PACKAGE)
function(velmo_find_needed_library name header)
  cmake_parse_arguments(PARSE_ARGV 2 needed "" "DEBIAN" "")
  velmo_find_c_library(${name} ${header})
  if(NOT TARGET velmo::${name})
    velmo_report_missing("${name}" "${needed_DEBIAN}" "")
  endif()
endfunction()

# Finds a program that the tests run by its name.
# usage: velmo_find_needed_program(NAME DEBIAN PACKAGE OPTION NAME)
function(velmo_find_needed_program name)
  cmake_parse_arguments(PARSE_ARGV 1 needed "" "DEBIAN;OPTION" "")
  string(MAKE_C_IDENTIFIER ${name} variable)
  string(TOUPPER ${variable} variable)
  find_program(VELMO_${variable} ${name} PATHS /usr/sbin)
  mark_as_advanced(VELMO_${variable})
  if(NOT VELMO_${variable})
    velmo_report_missing(${name} ${needed_DEBIAN} ${needed_OPTION})
  endif()
endfunction()

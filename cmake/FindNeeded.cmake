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

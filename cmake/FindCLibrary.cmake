# Finds a C library that comes without a CMake package. If it is there, the target velmo::NAME is it. The
# package of an archive contains this file too: a program links what the archive needs.
# usage: velmo_find_c_library(NAME HEADER)
function(velmo_find_c_library name header)
  if(TARGET velmo::${name})
    return()
  endif()
  string(TOUPPER VELMO_${name} variable)
  find_path(${variable}_INCLUDE_DIR ${header})
  find_library(${variable}_LIBRARY ${name})
  mark_as_advanced(${variable}_INCLUDE_DIR ${variable}_LIBRARY)
  if(${variable}_INCLUDE_DIR AND ${variable}_LIBRARY)
    add_library(velmo::${name} UNKNOWN IMPORTED GLOBAL)
    set_target_properties(velmo::${name} PROPERTIES
      IMPORTED_LOCATION "${${variable}_LIBRARY}"
      INTERFACE_INCLUDE_DIRECTORIES "${${variable}_INCLUDE_DIR}")
  endif()
endfunction()

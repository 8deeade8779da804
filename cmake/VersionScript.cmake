# The linker's version script, made from a list of exported names.

# velmo_version_node(RESULT NODE NAME...): what the script says about one node, without the closing brace.
function(velmo_version_node result node)
  set(string "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(size_t "unsigned long")
  else()
    set(size_t "unsigned int")
  endif()
  set(c_names "")
  set(cxx_names "")
  foreach(name IN LISTS ARGN)
    # Some linkers do not match an unmangled name in the C++ part.
    if(name MATCHES "^[A-Za-z0-9_]+$")
      string(APPEND c_names "    ${name};\n")
    elseif(name MATCHES "[*]$")
      # In quotation marks it would be a name, not a pattern; without them, it cannot contain a space.
      string(REPLACE " " "?" name "${name}")
      string(APPEND cxx_names "      ${name};\n")
    else()
      string(REPLACE "std::string" "${string}" name "${name}")
      string(REPLACE "std::size_t" "${size_t}" name "${name}")
      string(APPEND cxx_names "      \"${name}\";\n")
    endif()
  endforeach()
  if(cxx_names)
    set(cxx_names "    extern \"C++\" {\n${cxx_names}    };\n")
  endif()
  set(${result} "${node} {\n  global:\n${c_names}${cxx_names}" PARENT_SCOPE)
endfunction()

# velmo_limit_exports(LIBRARY NAMES [ENDING]): the library exports the names of the list. The version of a
# name is in the last line above it that ends with a colon. ENDING replaces the star in such a line.
function(velmo_limit_exports library names)
  file(STRINGS ${names} lines REGEX "^[^#]")
  set(nodes "")
  foreach(line IN LISTS lines)
    if(line MATCHES "^([A-Z0-9_.*]+):$")
      string(REPLACE "*" "${ARGN}" node "${CMAKE_MATCH_1}")
      list(APPEND nodes ${node})
      set(${node}_names "")
    else()
      list(APPEND ${node}_names "${line}")
    endif()
  endforeach()

  # All other names are local, even those that have default visibility, such as templates of the standard
  # library. One node says so for all.
  set(ending "  local:\n    *;\n};\n")
  set(text "")
  foreach(node IN LISTS nodes)
    velmo_version_node(part ${node} ${${node}_names})
    string(APPEND text "${part}${ending}")
    set(ending "};\n")
  endforeach()

  set(script ${CMAKE_CURRENT_BINARY_DIR}/${library}.map)
  file(CONFIGURE OUTPUT ${script} CONTENT "@text@" @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${names})
  target_link_options(${library} PRIVATE LINKER:--version-script=${script})
  set_property(TARGET ${library} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()

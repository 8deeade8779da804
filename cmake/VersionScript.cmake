# Makes the linker's version script from the list of exported names. Everything else is local: also
# what the visibility attributes let through, such as the standard library's templates.
function(velmo_version_script names script)
  file(STRINGS ${names} lines REGEX "^[^#]")
  set(long_string
    "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >")
  set(c_names "")
  set(cxx_names "")
  foreach(name IN LISTS lines)
    # Not every linker takes a name that is not mangled for one of C++.
    if(name MATCHES "^[A-Za-z0-9_]+$")
      string(APPEND c_names "    ${name};\n")
    else()
      string(REPLACE "std::string" "${long_string}" name "${name}")
      string(APPEND cxx_names "      \"${name}\";\n")
    endif()
  endforeach()
  file(CONFIGURE OUTPUT ${script} @ONLY CONTENT
    "VELMO_1 {\n  global:\n@c_names@    extern \"C++\" {\n@cxx_names@    };\n  local:\n    *;\n};\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${names})
endfunction()

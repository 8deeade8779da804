# Makes the linker's version script from the list of exported names. Everything else is local: also
# what the visibility attributes let through, such as the standard library's templates.
function(velmo_version_script names script)
  file(READ ${names} text)
  string(REGEX REPLACE "(^|\n)#[^\n]*" "\\1" text "${text}")
  string(REPLACE "std::string"
    "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >" text "${text}")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    string(REPLACE "std::size_t" "unsigned long" text "${text}")
  else()
    string(REPLACE "std::size_t" "unsigned int" text "${text}")
  endif()
  string(REGEX REPLACE "([^\n]+)\n" "    \"\\1\";\n" text "${text}")
  string(REGEX REPLACE "\n\n+" "\n" text "${text}")
  file(CONFIGURE OUTPUT ${script} @ONLY
    CONTENT "VELMO_1 {\n  global:\n    extern \"C++\" {@text@    };\n  local:\n    *;\n};\n")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${names})
endfunction()

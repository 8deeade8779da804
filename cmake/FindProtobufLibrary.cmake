# Finds Protocol Buffers: first their own CMake package, which also brings the libraries that they are
# built on, since version 22. Without it, CMake's module finds the library and its compiler. Whatever the
# project has found already is taken. The package of an archive contains this file too: a program links
# what the archive needs.
macro(velmo_find_protobuf_library)
  if(NOT TARGET protobuf::libprotobuf)
    # If protoc is missing, which Debian packages apart, that package ends with an error that names a file.
    find_program(VELMO_PROTOC protoc)
    mark_as_advanced(VELMO_PROTOC)
    if(VELMO_PROTOC OR Protobuf_PROTOC_EXECUTABLE)
      find_package(Protobuf CONFIG QUIET)
    endif()
    if(NOT TARGET protobuf::libprotobuf)
      find_package(Protobuf 3.21 MODULE QUIET)
    endif()
  endif()
endmacro()

# Finds what the build needs of Protocol Buffers.
macro(velmo_find_protobuf)
  velmo_find_protobuf_library()
  # Compared here: their own package refuses every request for 3.21, although it is later.
  if(NOT TARGET protobuf::libprotobuf OR Protobuf_VERSION VERSION_LESS 3.21)
    velmo_report_missing("Protobuf" libprotobuf-dev "" 3.21)
  endif()
  if(NOT TARGET protobuf::protoc)
    velmo_report_missing("protoc, the compiler of Protocol Buffers" protobuf-compiler "")
  endif()
endmacro()

# velmo_protobuf_release(RESULT): such as 3.21 or 36.2. CMake's module has the first number of the C++ library in
# front of the release, from 22 on: 7.36.2.
function(velmo_protobuf_release result)
  string(REGEX REPLACE "^[4-9][.]([0-9]+[.][0-9]+)" "\\1" release "${Protobuf_VERSION}")
  string(REGEX MATCH "^[0-9]+[.][0-9]+" release "${release}")
  set(${result} ${release} PARENT_SCOPE)
endfunction()

# velmo_generate_messages(NAME PROTO_DIR OUTPUT_DIR): the target velmo_messages, which generates the C++ header
# and source of NAME.proto. A compiler that the caller has set runs in place of the one that was found.
function(velmo_generate_messages name proto_dir output_dir)
  set(protoc protobuf::protoc)
  if(Protobuf_PROTOC_EXECUTABLE)
    set(protoc ${Protobuf_PROTOC_EXECUTABLE})
  endif()
  file(MAKE_DIRECTORY ${output_dir})
  add_custom_command(
    OUTPUT ${output_dir}/${name}.pb.h ${output_dir}/${name}.pb.cc
    COMMAND ${protoc} --proto_path=${proto_dir} --cpp_out=${output_dir} ${name}.proto
    DEPENDS ${proto_dir}/${name}.proto)
  add_custom_target(velmo_messages DEPENDS ${output_dir}/${name}.pb.h)
endfunction()

# Generates velmo.pb.h and velmo.pb.cc. Run as a script:
#   cmake -DPROTOC=... -DPROTO_DIR=... -DOUTPUT_DIR=... -P GenerateMessages.cmake
# The messages are exported with the library's macro. The generated header does not include that
# macro's header by itself, and it has to compile alone.
execute_process(
  COMMAND ${PROTOC} --proto_path=${PROTO_DIR} --cpp_out=dllexport_decl=VELMO_EXPORT:${OUTPUT_DIR}
    velmo.proto
  COMMAND_ERROR_IS_FATAL ANY)
file(READ ${OUTPUT_DIR}/velmo.pb.h header)
string(REPLACE "// @@protoc_insertion_point(includes)"
  "#include \"Export.h\"\n// @@protoc_insertion_point(includes)" with_export "${header}")
if(with_export STREQUAL header)
  message(FATAL_ERROR "velmo.pb.h has no place for an include")
endif()
file(WRITE ${OUTPUT_DIR}/velmo.pb.h "${with_export}")

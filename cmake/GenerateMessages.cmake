# Generates velmo.pb.h and velmo.pb.cc. Run as a script:
#   cmake -DPROTOC=... -DPROTO_DIR=... -DOUTPUT_DIR=... -P GenerateMessages.cmake
# The messages are exported with the library's macro. The generated header does not include that
# macro's header by itself, and it has to compile alone.
execute_process(
  COMMAND ${PROTOC} --proto_path=${PROTO_DIR} --cpp_out=dllexport_decl=VELMO_EXPORT:${OUTPUT_DIR}
    velmo.proto
  COMMAND_ERROR_IS_FATAL ANY)
file(READ ${OUTPUT_DIR}/velmo.pb.h header)
file(READ ${OUTPUT_DIR}/velmo.pb.cc source)

# Replaces the one place where `text` stands in the variable.
function(replace variable text replacement)
  string(REPLACE "${text}" "${replacement}" replaced "${${variable}}")
  if(replaced STREQUAL ${variable})
    message(FATAL_ERROR "The generated ${variable} has no place for: ${replacement}")
  endif()
  set(${variable} "${replaced}" PARENT_SCOPE)
endfunction()

replace(header "// @@protoc_insertion_point(includes)"
  "#include \"Export.h\"\n// @@protoc_insertion_point(includes)")

# protoc specialises a function template of its runtime for each message, in the source: the library
# would export names of the runtime's namespace. Inline in the header, every caller has its own.
set(specialisations "")
foreach(message IN ITEMS AddTaskRequest AddTaskResponse BaseMessage)
  set(type ::service::velmo::${message})
  set(body "  return Arena::CreateMessageInternal< ${type} >(arena);\n}\n")
  replace(header "template<> VELMO_EXPORT ${type}* Arena::CreateMaybeMessage<${type}>(Arena*);"
    "template<> inline ${type}* Arena::CreateMaybeMessage<${type}>(Arena*);")
  replace(source "template<> PROTOBUF_NOINLINE ${type}*
Arena::CreateMaybeMessage< ${type} >(Arena* arena) {\n${body}" "")
  string(APPEND specialisations
    "template<> inline ${type}* Arena::CreateMaybeMessage<${type}>(Arena* arena) {\n${body}")
endforeach()
replace(header "// @@protoc_insertion_point(global_scope)" "PROTOBUF_NAMESPACE_OPEN
${specialisations}PROTOBUF_NAMESPACE_CLOSE\n\n// @@protoc_insertion_point(global_scope)")

file(WRITE ${OUTPUT_DIR}/velmo.pb.h "${header}")
file(WRITE ${OUTPUT_DIR}/velmo.pb.cc "${source}")

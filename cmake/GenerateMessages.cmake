# Generates velmo.pb.h and velmo.pb.cc. Run as a script:
#   cmake -DPROTOC=... -DPROTO_DIR=... -DOUTPUT_DIR=... -P GenerateMessages.cmake
# The library's macro exports the messages. protoc does not include the header of that macro, so this
# script adds the include: the generated header must compile alone.
execute_process(
  COMMAND ${PROTOC} --proto_path=${PROTO_DIR} --cpp_out=dllexport_decl=VELMO_EXPORT:${OUTPUT_DIR}
    velmo.proto
  COMMAND_ERROR_IS_FATAL ANY)
file(READ ${OUTPUT_DIR}/velmo.pb.h header)
file(READ ${OUTPUT_DIR}/velmo.pb.cc source)

# Replaces `text`, which occurs once in the variable.
function(replace variable text replacement)
  string(REPLACE "${text}" "${replacement}" replaced "${${variable}}")
  if(replaced STREQUAL ${variable})
    message(FATAL_ERROR "The generated ${variable} does not contain: ${text}")
  endif()
  set(${variable} "${replaced}" PARENT_SCOPE)
endfunction()

replace(header "// @@protoc_insertion_point(includes)"
  "#include \"Export.h\"\n// @@protoc_insertion_point(includes)")

# For each message, protoc specialises a function template of its runtime in the source. The library
# would then export names of the runtime's namespace. This script moves the specialisations into the
# header as inline functions.
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

# What a program links besides libvelmo.a. With the package of Protocol Buffers, abseil comes along.
include(CMakeFindDependencyMacro)
find_dependency(Threads)
find_dependency(Poco 1.11 COMPONENTS Foundation Net XML)
include("${CMAKE_CURRENT_LIST_DIR}/FindProtobufLibrary.cmake")
velmo_find_protobuf_library()
if(NOT TARGET protobuf::libprotobuf)
  set(${CMAKE_FIND_PACKAGE_NAME}_FOUND FALSE)
  set(${CMAKE_FIND_PACKAGE_NAME}_NOT_FOUND_MESSAGE "Protobuf not found")
  return()
endif()


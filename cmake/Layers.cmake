# A folder of private units is a layer: an object library in which the compiler finds the headers of the
# folder and of the layers below it, and no others. A face consists of the public units over a layer.

# velmo_add_objects(TARGET FOLDER UNIT...)
function(velmo_add_objects target folder)
  list(TRANSFORM ARGN REPLACE "(.+)" "${folder}/\\1.cpp" OUTPUT_VARIABLE sources)
  add_library(${target} OBJECT ${sources})
  target_compile_features(${target} PUBLIC cxx_std_17)
  # Fortified calls have other names (__syslog_chk), which programs that interpose syslog would miss.
  target_compile_options(${target} PRIVATE -U_FORTIFY_SOURCE)
  # Assertions name their source file by its path in this tree, not by the folder of the build.
  target_compile_options(${target} PRIVATE
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/= -fmacro-prefix-map=${PROJECT_BINARY_DIR}/=)
  set_target_properties(${target} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  velmo_enable_warnings(${target})
endfunction()

# velmo_add_layer(NAME FOLDER UNIT...): the target velmo_NAME, of private units.
function(velmo_add_layer name folder)
  velmo_add_objects(velmo_${name} ${folder} ${ARGN})
  target_include_directories(velmo_${name} PUBLIC ${folder})
endfunction()

# velmo_add_face(NAME FOLDER UNIT...): the target velmo_NAME_face, of public units over velmo_NAME.
function(velmo_add_face name folder)
  velmo_add_objects(velmo_${name}_face ${folder} ${ARGN})
  target_link_libraries(velmo_${name}_face PRIVATE velmo_${name})
  foreach(unit IN LISTS ARGN)
    set_property(GLOBAL APPEND PROPERTY velmo_public_headers ${folder}/${unit}.h)
  endforeach()
endfunction()

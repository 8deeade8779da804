# What tests of programs in other languages need. Such programs are not instrumented. An instrumented
# library needs the sanitizer runtime in the process before it is loaded, and the C++ library too, because
# the runtime looks for its exception functions at the start. The gcc runtime can be preloaded. The clang
# runtime is only linked into programs, so such tests are left out.

# velmo_find_preloaded(RESULT IS_POSSIBLE): the value of LD_PRELOAD for such programs, and whether they can
# load the libraries of this build.
function(velmo_find_preloaded result is_possible)
  set(preloaded "")
  set(possible TRUE)
  if(CMAKE_CXX_FLAGS MATCHES "sanitize")
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      foreach(name IN ITEMS libasan.so libstdc++.so)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
          OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
        string(APPEND preloaded ":${path}")
      endforeach()
    else()
      set(possible FALSE)
    endif()
  endif()
  set(${result} "${preloaded}" PARENT_SCOPE)
  set(${is_possible} ${possible} PARENT_SCOPE)
endfunction()

# The python3 that script/setup installs, even if PATH has another one.
macro(velmo_find_python)
  find_program(VELMO_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
  if(NOT VELMO_PYTHON)
    velmo_report_missing(python3 python3 BUILD_TESTING)
  endif()
endmacro()

# velmo_find_python_module(MODULE DEBIAN_PACKAGE)
function(velmo_find_python_module module debian)
  execute_process(COMMAND ${VELMO_PYTHON} -c "import ${module}"
    RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(NOT status EQUAL 0)
    velmo_report_missing("the Python module ${module}" ${debian} BUILD_TESTING)
  endif()
endfunction()

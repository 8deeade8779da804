# The warnings for our own code. They are private to each target. The presets turn them into errors
# (CMAKE_COMPILE_WARNING_AS_ERROR); other builds do not.
function(velmo_enable_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wcast-align -Wcast-qual -Wformat=2 -Wundef
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi>
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wuseless-cast>)
endfunction()

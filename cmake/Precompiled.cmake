# What nearly every unit of a target reads is compiled once for all of them, which takes a third off the time of a
# build. Presets that look for mistakes build without it (CMAKE_DISABLE_PRECOMPILE_HEADERS), so that a missing include
# is found. Sources with options of their own cannot share it.
function(voripbase_precompile target)
    target_precompile_headers(${target} PRIVATE
        <algorithm> <cmath> <cstdint> <cstdio> <filesystem> <functional> <future> <memory> <optional> <string> <vector>
        <opencv2/core.hpp> ${ARGN})
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -fpch-preprocess)  # lets ccache see through it
    endif()
endfunction()

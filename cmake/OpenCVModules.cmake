# Finds single OpenCV modules by header and library. Distributions install the CMake package of OpenCV only with the
# complete development package, which drags in the user interface, video and neural-network modules that nothing here
# needs; the development packages of single modules carry no CMake files.
#
# voripbase_find_opencv(core imgproc) defines the targets voripbase::opencv_core and voripbase::opencv_imgproc.
include_guard(GLOBAL)

function(voripbase_find_opencv)
    find_package(OpenCV QUIET CONFIG COMPONENTS ${ARGN})
    if(NOT OpenCV_FOUND)
        find_path(VORIPBASE_OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4 REQUIRED)
    endif()
    foreach(module IN LISTS ARGN)
        set(target voripbase_opencv_${module})
        if(TARGET ${target})
            continue()
        endif()
        if(OpenCV_FOUND)
            add_library(${target} INTERFACE IMPORTED GLOBAL)
            target_link_libraries(${target} INTERFACE opencv_${module})
        else()
            find_library(VORIPBASE_OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
            add_library(${target} UNKNOWN IMPORTED GLOBAL)
            set_target_properties(${target} PROPERTIES
                IMPORTED_LOCATION "${VORIPBASE_OPENCV_${module}_LIBRARY}"
                INTERFACE_INCLUDE_DIRECTORIES "${VORIPBASE_OPENCV_INCLUDE_DIR}")
        endif()
        add_library(voripbase::opencv_${module} ALIAS ${target})
    endforeach()
endfunction()

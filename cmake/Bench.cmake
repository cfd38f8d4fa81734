# One program per operation family, in the room that it measures: bench/LIBRARY/ROOM/bench_*.cpp.
find_package(benchmark CONFIG REQUIRED)
file(GLOB bench_sources CONFIGURE_DEPENDS bench/*/*/bench_*.cpp)
if(have_library)
    foreach(source IN LISTS bench_sources)
        cmake_path(GET source STEM name)
        add_executable(${name} ${source})
        set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bench")
        target_link_libraries(${name} PRIVATE voripbase_options voripbase::measure benchmark::benchmark
            voripbase::opencv_core voripbase::opencv_imgproc)
    endforeach()
    voripbase_find_opencv(calib3d)  # a counterpart
    target_link_libraries(bench_world PRIVATE voripbase::opencv_calib3d)
endif()

# How right the results are; no timing of operations, so it stands apart from the benchmarks.
file(GLOB accuracy_sources CONFIGURE_DEPENDS bench/accuracy/*.cpp)
if(have_library)
    voripbase_find_opencv(imgcodecs)
    find_package(CLI11 CONFIG REQUIRED)
    add_executable(bench_accuracy ${accuracy_sources})
    target_link_libraries(bench_accuracy PRIVATE voripbase_options voripbase::measure CLI11::CLI11
        voripbase::opencv_core voripbase::opencv_imgproc voripbase::opencv_imgcodecs)
endif()

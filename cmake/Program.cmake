# The program, and the camera boards that it offers.
file(GLOB board_sources CONFIGURE_DEPENDS boards/*.cpp)
add_library(voripboards STATIC ${board_sources})
target_link_libraries(voripboards PUBLIC voripbase_options voripbase::measure)

find_package(CLI11 CONFIG REQUIRED)
file(GLOB program_sources CONFIGURE_DEPENDS tools/vorip/*.cpp tools/vorip/*/*.cpp)
add_executable(vorip ${program_sources})
voripbase_precompile(vorip)
# The loops over pixels, as in the libraries; all else is compiled for quick building.
file(GLOB program_row_sources CONFIGURE_DEPENDS tools/vorip/*/*rows.cpp)
if(NOT MSVC)
    set_source_files_properties(${program_row_sources} PROPERTIES
        COMPILE_OPTIONS "$<$<CONFIG:Release>:-O3>;-fno-trapping-math" SKIP_PRECOMPILE_HEADERS ON)
endif()
target_link_libraries(vorip PRIVATE voripbase_options voripbase_quick_compile voripboards voripbase::measure
    CLI11::CLI11
    nlohmann_json::nlohmann_json PkgConfig::DEFLATE voripbase::opencv_core voripbase::opencv_imgproc)
file(RELATIVE_PATH library_dir "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(vorip PROPERTIES INSTALL_RPATH "$ORIGIN/${library_dir}")
install(TARGETS vorip)

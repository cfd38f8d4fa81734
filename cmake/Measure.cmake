# The second library: from camera frames to a surface, for people who measure. Public headers stand at the top of
# measure/, sources and private headers in its rooms.
file(GLOB measure_sources CONFIGURE_DEPENDS measure/*/*.cpp)
file(GLOB measure_headers CONFIGURE_DEPENDS measure/*.h)
# As the first library's row functions: GCC leaves loops with conditions or square roots scalar for the sake of
# exception flags and errno.
file(GLOB measure_row_sources CONFIGURE_DEPENDS measure/*/*rows.cpp)
if(NOT MSVC)
    set_source_files_properties(${measure_row_sources} PROPERTIES
        COMPILE_OPTIONS "-fno-trapping-math;-fno-math-errno" SKIP_PRECOMPILE_HEADERS ON)
endif()
find_package(nlohmann_json REQUIRED)
find_package(TIFF REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(SPNG REQUIRED IMPORTED_TARGET spng)
pkg_check_modules(DEFLATE REQUIRED IMPORTED_TARGET libdeflate)
pkg_check_modules(ISAL REQUIRED IMPORTED_TARGET libisal)
voripbase_find_opencv(imgcodecs features2d calib3d)

# As with the first library, the tests link the objects and thereby reach internals.
add_library(voripmeasure_objects OBJECT ${measure_sources})
set_target_properties(voripmeasure_objects PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
target_compile_definitions(voripmeasure_objects PUBLIC MEASURE_EXPORTS)
target_link_libraries(voripmeasure_objects PUBLIC voripbase_options voripbase::opencv_core voripbase::opencv_imgproc
    nlohmann_json::nlohmann_json TIFF::TIFF PkgConfig::SPNG PkgConfig::DEFLATE PkgConfig::ISAL ${CMAKE_DL_LIBS})

voripbase_precompile(voripmeasure_objects)

add_library(voripmeasure $<TARGET_OBJECTS:voripmeasure_objects>)
add_library(voripbase::measure ALIAS voripmeasure)
set_target_properties(voripmeasure PROPERTIES
    LINKER_LANGUAGE CXX EXPORT_NAME measure VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN")
target_link_libraries(voripmeasure PUBLIC voripbase::voripbase voripbase::opencv_core
    PRIVATE voripbase::opencv_imgproc TIFF::TIFF PkgConfig::SPNG PkgConfig::DEFLATE PkgConfig::ISAL ${CMAKE_DL_LIBS})

# Parts of OpenCV that few runs need bring many libraries along, its codecs more than a hundred: they stand in modules,
# which are loaded when they are needed.
add_custom_target(voripmodules)  # for programs that are linked with the objects
add_dependencies(voripmeasure voripmodules)
function(add_module name folder)
    file(GLOB module_sources CONFIGURE_DEPENDS ${folder}/*.cpp)
    add_library(${name} MODULE ${module_sources})
    set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    target_compile_definitions(${name} PRIVATE MEASURE_EXPORTS)
    target_link_libraries(${name} PRIVATE voripbase_options voripbase::opencv_core)
    foreach(opencv IN LISTS ARGN)
        target_link_libraries(${name} PRIVATE voripbase::opencv_${opencv})
    endforeach()
    add_dependencies(voripmodules ${name})
    install(TARGETS ${name} LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
endfunction()
add_module(voripcodecs measure/io/codecs imgcodecs)
add_module(voripvision measure/world/vision calib3d features2d)

install(TARGETS voripmeasure EXPORT voripbaseTargets)
install(FILES cmake/OpenCVModules.cmake DESTINATION "${package_dir}")
install(FILES ${measure_headers} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/voripbase/measure")

# What names this checkout is known to the one source that needs it: all others compile alike in every checkout.
function(define_for source definition)
    set_source_files_properties(${source} PROPERTIES COMPILE_DEFINITIONS "${definition}" SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# A program of all tests and of the objects of libraries, which come first: of an inline function that many units hold
# the linker takes their copy.
function(link_tests program)
    add_executable(${program})
    foreach(library IN LISTS ARGN)
        target_sources(${program} PRIVATE $<TARGET_OBJECTS:${library}>)
        target_link_libraries(${program} PRIVATE $<TARGET_PROPERTY:${library},INTERFACE_LINK_LIBRARIES>)
    endforeach()
    target_sources(${program} PRIVATE $<TARGET_OBJECTS:voripbase_test_objects>)
    target_link_libraries(${program} PRIVATE voripbase::opencv_imgcodecs GTest::gtest GTest::gtest_main)
    set_target_properties(${program} PROPERTIES LINKER_LANGUAGE CXX)
    add_dependencies(${program} voripmodules)
endfunction()

# One program for all GoogleTest files, linked with the library's objects, and the small user's project.
file(GLOB test_sources CONFIGURE_DEPENDS tests/support/*.cpp tests/*/*_test.cpp tests/*/*/*_test.cpp fuzz/*.cpp)
list(FILTER test_sources EXCLUDE REGEX "/fuzz/libfuzzer\\.cpp$")
if(NOT VORIPBASE_BUILD_PROGRAM)
    list(FILTER test_sources EXCLUDE REGEX "/tests/program/")
endif()
list(APPEND test_sources ${program_readers})
if(have_library AND test_sources)
    voripbase_find_opencv(imgcodecs)
    find_package(GTest CONFIG REQUIRED)
    add_library(voripbase_test_objects OBJECT ${test_sources})
    voripbase_precompile(voripbase_test_objects <gtest/gtest.h> "${PROJECT_SOURCE_DIR}/ipbase/voripbase.h")
    target_link_libraries(voripbase_test_objects PRIVATE
        voripbase_quick_compile voripbase_objects voripmeasure_objects voripbase::opencv_imgcodecs GTest::gtest)
    if(NOT MSVC)  # an expectation alone behind an `if` has an `else` of its own
        target_compile_options(voripbase_test_objects PRIVATE -Wno-dangling-else)
    endif()
    link_tests(voripbase_tests voripbase_objects voripmeasure_objects)
    include(SanitizedTests)
    define_for(fuzz/corpus_test.cpp "FUZZ_CORPUS=\"${PROJECT_SOURCE_DIR}/fuzz/corpus\"")
    if(TARGET vorip)
        define_for(tests/support/program.cpp "VORIP_PROGRAM=\"$<TARGET_FILE:vorip>\"")
        add_dependencies(voripbase_tests vorip)
        if(UNIX)
            add_library(vorip_faults MODULE tests/program/preload/faults.cpp)
            target_link_libraries(vorip_faults PRIVATE voripbase_options ${CMAKE_DL_LIBS})
            foreach(user faults results)
                define_for(tests/program/${user}_test.cpp "VORIP_FAULTS=\"$<TARGET_FILE:vorip_faults>\"")
            endforeach()
            add_dependencies(voripbase_tests vorip_faults)
        endif()
    endif()

    # The tests of threads alone, which ./dev tsan runs.
    set(table_sources ${test_sources})
    set(table_tests averagesnap bandjoiner combination geometry logic pointops rotation threads transfer)
    list(JOIN table_tests "|" table_tests)
    set(table_support "/fuzz/operations|/support/(allocations|harness)")
    list(FILTER table_sources INCLUDE REGEX
        "(/tests/ipbase/(.*/)?(${table_tests})_test|${table_support})\\.cpp$")
    add_executable(voripbase_thread_tests EXCLUDE_FROM_ALL ${table_sources})
    target_link_libraries(voripbase_thread_tests
        PRIVATE voripbase_quick_compile voripbase_objects GTest::gtest GTest::gtest_main)

    set(registration "${PROJECT_BINARY_DIR}/voripbase_tests_$<CONFIG>.cmake")
    string(CONCAT content
        "set(VORIPBASE_TEST_PROGRAM [==[$<TARGET_FILE:voripbase_tests>]==])\n"
        "set(VORIPBASE_EMULATOR [==[${CMAKE_CROSSCOMPILING_EMULATOR}]==])\n"
        "set(VORIPBASE_SANITIZED_PROGRAM [==[${sanitized_program}]==])\n"
        "include([==[${PROJECT_SOURCE_DIR}/cmake/SuiteTests.cmake]==])\n")
    file(GENERATE OUTPUT "${registration}" CONTENT "${content}")
    file(WRITE "${PROJECT_BINARY_DIR}/voripbase_tests.cmake"
        "if(NOT CTEST_CONFIGURATION_TYPE)\n    set(CTEST_CONFIGURATION_TYPE \"${CMAKE_BUILD_TYPE}\")\nendif()\n"
        "include(\"${PROJECT_BINARY_DIR}/voripbase_tests_\${CTEST_CONFIGURATION_TYPE}.cmake\")\n")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${PROJECT_BINARY_DIR}/voripbase_tests.cmake")
endif()

if(have_library AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME consumer COMMAND "${CMAKE_COMMAND}"
        "-DBUILD_DIR=${PROJECT_BINARY_DIR}" "-DSOURCE_DIR=${PROJECT_SOURCE_DIR}" "-DCONFIG=$<CONFIG>"
        "-DGENERATOR=${CMAKE_GENERATOR}" "-DCXX=${CMAKE_CXX_COMPILER}" "-DCXX_FLAGS=${CMAKE_CXX_FLAGS}"
        -P "${PROJECT_SOURCE_DIR}/tests/consumer/run.cmake")
endif()

# Includes go down only, and installed headers need nothing that is not installed.
add_test(NAME includes COMMAND "${CMAKE_COMMAND}" "-DSOURCE_DIR=${PROJECT_SOURCE_DIR}"
    -P "${PROJECT_SOURCE_DIR}/cmake/CheckIncludes.cmake")

# The reference pages list the combinations that the dispatch supports; `reference FOLDER` brings them up to date.
if(have_library)
    add_executable(reference tools/reference/main.cpp)
    target_link_libraries(reference PRIVATE voripbase_objects)
    add_test(NAME reference COMMAND reference --check "${PROJECT_SOURCE_DIR}/docs/reference")
endif()

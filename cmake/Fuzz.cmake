# Everything that is tried with random input, under libFuzzer; the tests run the same targets over fuzz/corpus.
# The tables and the drawn checks stand beside their tests.
file(GLOB fuzz_sources CONFIGURE_DEPENDS
    fuzz/*.cpp tests/ipbase/*_test.cpp tests/ipbase/*/*_test.cpp tests/support/allocations.cpp
    tests/support/harness.cpp tests/support/literal_*.cpp)
list(FILTER fuzz_sources EXCLUDE REGEX "/(corpus|derived|threads|unwrap)_test\\.cpp$|/libfuzzer\\.cpp$")
find_package(GTest CONFIG REQUIRED)
voripbase_find_opencv(imgcodecs)
# What draws and compares is not instrumented itself: it would take most of the time.
add_library(voripbase_fuzz_checks OBJECT ${fuzz_sources} ${program_readers})
target_link_libraries(voripbase_fuzz_checks
    PUBLIC voripbase_objects voripmeasure_objects voripbase::opencv_imgcodecs GTest::gtest)
target_compile_options(voripbase_fuzz_checks PRIVATE -fno-sanitize=all)
add_executable(voripbase_fuzz fuzz/libfuzzer.cpp)
target_link_libraries(voripbase_fuzz PRIVATE voripbase_fuzz_checks voripbase_objects voripmeasure_objects)
target_link_options(voripbase_fuzz PRIVATE -fsanitize=fuzzer)
add_dependencies(voripbase_fuzz voripmodules)
# The networks of the medians would take Clang's sanitizers more than five minutes; GCC's compile them in the tests.
set_source_files_properties(ipbase/kernels/median.cpp PROPERTIES COMPILE_OPTIONS -fno-sanitize=all)

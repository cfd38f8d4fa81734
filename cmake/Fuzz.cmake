# Everything that is tried with random input, under libFuzzer; the tests run the same targets over fuzz/corpus.
# The tables and the drawn checks stand beside their tests.
file(GLOB fuzz_sources CONFIGURE_DEPENDS
    fuzz/*.cpp tests/ipbase/*_test.cpp tests/support/harness.cpp tests/support/literal_*.cpp)
list(FILTER fuzz_sources EXCLUDE REGEX "/corpus_test\\.cpp$")
find_package(GTest CONFIG REQUIRED)
voripbase_find_opencv(imgcodecs)
add_executable(voripbase_fuzz ${fuzz_sources} tools/vorip/cli/parse.cpp tools/vorip/commands/filterinputs.cpp)
target_link_libraries(voripbase_fuzz PRIVATE voripbase_objects voripmeasure_objects voripbase::opencv_imgcodecs GTest::gtest)
target_compile_definitions(voripbase_fuzz PRIVATE $<$<BOOL:${VORIPBASE_THIS_CPU_ONLY}>:VORIPBASE_THIS_CPU_ONLY>)
target_link_options(voripbase_fuzz PRIVATE -fsanitize=fuzzer)
add_dependencies(voripbase_fuzz voripcodecs)

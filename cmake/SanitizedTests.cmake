# The tests with libraries under AddressSanitizer and UndefinedBehaviorSanitizer, kernels for this machine's CPU alone:
# `./dev check fast`. The tests themselves are the objects of the ordinary test program, without sanitizers, which would
# take most of the time; preset asan-ubsan has them everywhere.
set(sanitized_program)
if(MSVC OR CMAKE_CROSSCOMPILING OR CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    return()
endif()
# Checks of null pointers, alignment and dynamic types cost time to compile: preset asan-ubsan has them, too.
set(sanitizers -fsanitize=address,undefined -fno-sanitize=null,alignment,object-size,vptr
    -fno-sanitize-recover=undefined)
foreach(library IN ITEMS voripbase voripmeasure)
    get_target_property(sources ${library}_objects SOURCES)
    get_target_property(libraries ${library}_objects LINK_LIBRARIES)
    add_library(${library}_sanitized OBJECT EXCLUDE_FROM_ALL ${sources})
    target_link_libraries(${library}_sanitized PUBLIC ${libraries})
    target_compile_options(${library}_sanitized PRIVATE
        ${sanitizers} -fno-omit-frame-pointer -O1 -g1 -Werror
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endforeach()
target_compile_definitions(voripbase_sanitized PUBLIC VORIPBASE_EXPORTS)
target_compile_definitions(voripmeasure_sanitized PRIVATE MEASURE_EXPORTS)
target_compile_options(voripbase_sanitized PRIVATE -march=native -DHWY_COMPILE_ONLY_STATIC)
voripbase_precompile(voripmeasure_sanitized)

link_tests(voripbase_sanitized_tests voripbase_sanitized voripmeasure_sanitized)
set_target_properties(voripbase_sanitized_tests PROPERTIES EXCLUDE_FROM_ALL ON)
target_link_options(voripbase_sanitized_tests PRIVATE ${sanitizers})
set(sanitized_program "$<TARGET_FILE:voripbase_sanitized_tests>")

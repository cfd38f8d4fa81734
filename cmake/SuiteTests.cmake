# Included by ctest when it starts: registers one test per GoogleTest suite, so that suites run side by side and a
# failure names its family, while the program is started once per suite and not once per test.
# The build sets VORIPBASE_TEST_PROGRAM and VORIPBASE_SANITIZED_PROGRAM before including this file, and
# VORIPBASE_EMULATOR where programs are for a CPU of another kind.

# The tests of a program, their names behind a prefix, but for suites that match `omitted`.
function(register_suites program prefix omitted)
    execute_process(COMMAND ${VORIPBASE_EMULATOR} "${program}" --gtest_list_tests
        OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(STATUS "${program} cannot list its tests: ${result} ${errors}")
        add_test(${prefix}tests_cannot_be_listed ${VORIPBASE_EMULATOR} "${program}" --gtest_list_tests)
        return()
    endif()
    string(REPLACE "\n" ";" lines "${listing}")
    foreach(line IN LISTS lines)
        if(line MATCHES "^([A-Za-z0-9_/]+)\\." AND NOT CMAKE_MATCH_1 MATCHES "${omitted}")
            string(REGEX MATCH "^[^.]+" suite "${line}")
            add_test("${prefix}${suite}" ${VORIPBASE_EMULATOR} "${program}" "--gtest_filter=${suite}.*" --gtest_brief=1)
            set_tests_properties("${prefix}${suite}" PROPERTIES TIMEOUT 1200)
            if(prefix)
                set(options "ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1"
                    "UBSAN_OPTIONS=print_stacktrace=1")
                set_tests_properties("${prefix}${suite}" PROPERTIES LABELS sanitized ENVIRONMENT "${options}")
            endif()
        endif()
    endforeach()
endfunction()

register_suites("${VORIPBASE_TEST_PROGRAM}" "" "^$")
if(EXISTS "${VORIPBASE_SANITIZED_PROGRAM}")
    # Not those that take long, and not those of the program, which has no sanitizers.
    register_suites("${VORIPBASE_SANITIZED_PROGRAM}" "sanitized."
        "^(ImageFilters|Reliability|Unwrap|Faults|Measures|Points|Program|Scan|SurfaceProgram)$")
endif()

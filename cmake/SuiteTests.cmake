# Included by ctest when it starts: registers one test per GoogleTest suite, so that suites run side by side and a
# failure names its family, while the program is started once per suite and not once per test.
# The build sets VORIPBASE_TEST_PROGRAM before including this file.
execute_process(COMMAND "${VORIPBASE_TEST_PROGRAM}" --gtest_list_tests
    OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(STATUS "${VORIPBASE_TEST_PROGRAM} cannot list its tests: ${result} ${errors}")
    add_test(voripbase_tests_cannot_be_listed "${VORIPBASE_TEST_PROGRAM}" --gtest_list_tests)
    return()
endif()

# Suites that take long under sanitizers; a quick run leaves them out.
set(slow_suites "^(Faults|ImageFilters|Program|Reliability|Unwrap)$")

string(REPLACE "\n" ";" lines "${listing}")
foreach(line IN LISTS lines)
    if(line MATCHES "^([A-Za-z0-9_/]+)\\.")
        set(suite "${CMAKE_MATCH_1}")
        add_test("${suite}" "${VORIPBASE_TEST_PROGRAM}" "--gtest_filter=${suite}.*" --gtest_brief=1)
        set_tests_properties("${suite}" PROPERTIES TIMEOUT 1200)
        if(suite MATCHES "${slow_suites}")
            set_tests_properties("${suite}" PROPERTIES LABELS slow)
        endif()
    endif()
endforeach()

# Installs the library below the build folder, builds a small user's project against it with the programs of the README,
# and compares what they print with what the README says.
set(work "${BUILD_DIR}/consumer")
file(REMOVE_RECURSE "${work}")

function(run)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\nfailed with ${result}:\n${output}")
    endif()
endfunction()

# A fenced block of the README in the given language: the first or a later one.
function(readme_block language number result)
    file(READ "${SOURCE_DIR}/README.md" text)
    string(LENGTH "\n```${language}\n" fence)
    foreach(block RANGE 1 ${number})
        string(FIND "${text}" "\n```${language}\n" begin)
        if(begin LESS 0)
            message(FATAL_ERROR "README.md has no ${language} block ${block}")
        endif()
        math(EXPR begin "${begin} + ${fence}")
        string(SUBSTRING "${text}" ${begin} -1 text)
    endforeach()
    string(FIND "${text}" "\n```" end)
    math(EXPR end "${end} + 1")
    string(SUBSTRING "${text}" 0 ${end} text)
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

set(number 0)
foreach(name first second)
    math(EXPR number "${number} + 1")
    readme_block(cpp ${number} program)
    readme_block(text ${number} expected_${name})
    file(WRITE "${work}/${name}.cpp" "${program}")
endforeach()

run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --config "${CONFIG}" --prefix "${work}/prefix")
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tests/consumer" -B "${work}/build" -G "${GENERATOR}"
    "-DCMAKE_BUILD_TYPE=${CONFIG}" "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_PREFIX_PATH=${work}/prefix" "-DPROGRAMS=${work}"
    "-DCMAKE_RUNTIME_OUTPUT_DIRECTORY=${work}/bin" "-DCMAKE_RUNTIME_OUTPUT_DIRECTORY_${CONFIG}=${work}/bin")
run("${CMAKE_COMMAND}" --build "${work}/build" --config "${CONFIG}")

foreach(name first second)
    execute_process(COMMAND "${work}/bin/${name}" OUTPUT_VARIABLE printed ERROR_VARIABLE errors RESULT_VARIABLE result)
    if(NOT result EQUAL 0 OR NOT printed STREQUAL expected_${name})
        message(FATAL_ERROR
            "The ${name} program ended with ${result} and printed\n${printed}${errors}instead of\n${expected_${name}}")
    endif()
endforeach()

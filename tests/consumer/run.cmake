# Installs the library below the build folder, builds a small user's project against it with the first program of the
# README, and compares what that prints with what the README says.
set(work "${BUILD_DIR}/consumer")
file(REMOVE_RECURSE "${work}")

function(run)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\nfailed with ${result}:\n${output}")
    endif()
endfunction()

# The first fenced block of the README in the given language.
function(readme_block language result)
    file(READ "${SOURCE_DIR}/README.md" text)
    string(FIND "${text}" "\n```${language}\n" begin)
    if(begin LESS 0)
        message(FATAL_ERROR "README.md has no ${language} block")
    endif()
    string(LENGTH "\n```${language}\n" fence)
    math(EXPR begin "${begin} + ${fence}")
    string(SUBSTRING "${text}" ${begin} -1 text)
    string(FIND "${text}" "\n```" end)
    math(EXPR end "${end} + 1")
    string(SUBSTRING "${text}" 0 ${end} text)
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

readme_block(cpp program)
readme_block(text expected)
file(WRITE "${work}/first.cpp" "${program}")

run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --config "${CONFIG}" --prefix "${work}/prefix")
run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}/tests/consumer" -B "${work}/build" -G "${GENERATOR}"
    "-DCMAKE_BUILD_TYPE=${CONFIG}" "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_PREFIX_PATH=${work}/prefix" "-DFIRST_PROGRAM=${work}/first.cpp"
    "-DCMAKE_RUNTIME_OUTPUT_DIRECTORY=${work}/bin" "-DCMAKE_RUNTIME_OUTPUT_DIRECTORY_${CONFIG}=${work}/bin")
run("${CMAKE_COMMAND}" --build "${work}/build" --config "${CONFIG}")

execute_process(COMMAND "${work}/bin/first" OUTPUT_VARIABLE printed ERROR_VARIABLE errors RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT printed STREQUAL expected)
    message(FATAL_ERROR "The first program ended with ${result} and printed\n${printed}${errors}instead of\n${expected}")
endif()

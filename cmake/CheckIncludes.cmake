# Holds the house in order: includes go down only, never round in a circle, what is installed needs nothing that is not,
# and no operation is missing in the catalogue. Run as `cmake -DSOURCE_DIR=. -P cmake/CheckIncludes.cmake`; it is one of
# the tests.
cmake_minimum_required(VERSION 3.25)
cmake_path(ABSOLUTE_PATH SOURCE_DIR NORMALIZE)

# From the bottom to the top; a room may include its own files and those of the rooms above it in this list. The public
# headers of a library stand at the top of its folder, and at its bottom in this order.
set(rooms
    imagemodel imagemodel/src Core/vorTools/Inc
    ipbase ipbase/base ipbase/kernels
    ipbase/statistics ipbase/transfer ipbase/point ipbase/filters ipbase/surface ipbase/regions ipbase/gradient
    ipbase/acquisition ipbase/geometry ipbase/colour ipbase/world
    ipbase/unwrap ipbase/unwrap/regions ipbase/unwrap/reliability ipbase/catalogue
    measure measure/base measure/io measure/fringe measure/absolute measure/simulate measure/world measure/surface
    measure/report boards
    tools/vorip/session tools/vorip/cli tools/vorip/pictures tools/vorip/commands tools/vorip/demo tools
    tests bench fuzz)

# Which headers that stand in folders of others a library may include.
set(foreign_imagemodel "^(fmt/|opencv2/core/core_c\\.h$)")
set(foreign_Core "^$")
set(foreign_ipbase "^(hwy/|opencv2/(core\\.hpp|imgproc\\.hpp|core/core_c\\.h|imgproc/imgproc_c\\.h)$)")
set(foreign_boards "^opencv2/core\\.hpp$")
set(foreign_measure "^(opencv2/|nlohmann/|isa-l/)")
set(foreign_tools "^(CLI/|nlohmann/|opencv2/(core|imgproc)|sys/)")

# The room of a file: the longest entry that its path begins with.
function(room_of file index)
    set(best -1)
    set(length 0)
    set(i 0)
    foreach(room IN LISTS rooms)
        string(FIND "${file}" "${room}/" at)
        string(LENGTH "${room}" size)
        if(at EQUAL 0 AND size GREATER length)
            set(best ${i})
            set(length ${size})
        endif()
        math(EXPR i "${i} + 1")
    endforeach()
    set(${index} ${best} PARENT_SCOPE)
endfunction()

# A header and its source are one unit, whose name is that of the header without its ending.
function(unit_of file name)
    cmake_path(GET file STEM LAST_ONLY stem)
    cmake_path(GET file PARENT_PATH folder)
    string(REGEX MATCH "^[^/]+" library "${file}")
    if(file MATCHES "\\.cpp$" AND EXISTS "${SOURCE_DIR}/${library}/${stem}.h")
        set(folder "${library}")
    endif()
    set(${name} "${folder}/${stem}" PARENT_SCOPE)
endfunction()

set(problems)
file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}" LIST_DIRECTORIES false
    "${SOURCE_DIR}/imagemodel/*" "${SOURCE_DIR}/Core/*" "${SOURCE_DIR}/ipbase/*" "${SOURCE_DIR}/measure/*"
    "${SOURCE_DIR}/boards/*" "${SOURCE_DIR}/tools/*")
list(FILTER files INCLUDE REGEX "\\.(h|cpp)$")

set(public_folder "^(imagemodel|ipbase|measure|Core/vorTools/Inc)/[^/]+$")
set(units)
foreach(file IN LISTS files)
    if(file MATCHES "${public_folder}" AND NOT file MATCHES "\\.h$")
        list(APPEND problems "${file}: sources and private headers stand in rooms below")
    endif()
    room_of("${file}" from)
    if(from LESS 0)
        list(APPEND problems "${file}: stands in no room of cmake/CheckIncludes.cmake")
        continue()
    endif()
    unit_of("${file}" unit)
    list(APPEND units "${unit}")
    string(REGEX MATCH "^[^/]+" library "${file}")
    file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "^#[ ]*include [\"<]")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^#[ ]*include [\"<]([^\">]+).*" "\\1" include "${line}")
        if(NOT include MATCHES "^(imagemodel|Core|ipbase|measure|boards|tools|tests|bench|fuzz)/")
            if(line MATCHES "\"")
                list(APPEND problems "${file}: includes ${include}, whose path does not begin with a library's folder")
            elseif(include MATCHES "/" AND DEFINED foreign_${library} AND NOT include MATCHES "${foreign_${library}}")
                list(APPEND problems "${file}: includes ${include}, which ${library} does not rest on")
            endif()
            continue()
        endif()
        unit_of("${include}" included)
        list(APPEND includes_${unit} "${included}")
        room_of("${include}" to)
        if(to GREATER from)
            list(APPEND problems "${file}: includes ${include}, which stands above it")
        endif()
        if(file MATCHES "${public_folder}" AND NOT include MATCHES "${public_folder}")
            list(APPEND problems "${file}: is installed, but includes ${include}, which is not")
        endif()
    endforeach()
endforeach()

# A unit whose includes are all resolved is resolved; what remains in the end stands in a circle or includes one.
list(REMOVE_DUPLICATES units)
set(pending ${units})
set(shrinking TRUE)
while(pending AND shrinking)
    set(shrinking FALSE)
    set(rest)
    foreach(unit IN LISTS pending)
        set(open FALSE)
        foreach(include IN LISTS includes_${unit})
            if(include IN_LIST pending AND NOT include STREQUAL unit)
                set(open TRUE)
                break()
            endif()
        endforeach()
        if(open)
            list(APPEND rest "${unit}")
        else()
            set(shrinking TRUE)
        endif()
    endforeach()
    set(pending ${rest})
endwhile()
if(pending)
    list(JOIN pending " " text)
    list(APPEND problems "a circle of includes, or what includes one: ${text}")
endif()

# Every list of operations stands in the catalogue, which hands it to the tests and to the reference pages.
file(READ "${SOURCE_DIR}/ipbase/catalogue/catalogue.cpp" catalogue)
file(GLOB sources RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/ipbase/*/*.cpp")
foreach(source IN LISTS sources)
    file(STRINGS "${SOURCE_DIR}/${source}" lists REGEX "^std::vector<OperationInfo> [A-Za-z]+Operations\\(\\)")
    file(STRINGS "${SOURCE_DIR}/${source}" tables REGEX "^struct OperationsOf<")
    if(tables AND NOT lists)
        list(APPEND problems "${source}: has operations, but no function that lists them")
    endif()
    foreach(line IN LISTS lists)
        string(REGEX REPLACE "^std::vector<OperationInfo> ([A-Za-z]+).*" "\\1" name "${line}")
        if(NOT catalogue MATCHES ", ${name}}")
            list(APPEND problems "${source}: ${name} is missing in ipbase/catalogue/catalogue.cpp")
        endif()
    endforeach()
endforeach()

# Tests and benchmarks stand in rooms of the same names.
file(GLOB folders RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/tests/*/*" "${SOURCE_DIR}/bench/*/*")
foreach(folder IN LISTS folders)
    string(REGEX MATCH "[^/]+/[^/]+$" room "${folder}")
    if(folder MATCHES "/(ipbase|measure)/" AND IS_DIRECTORY "${SOURCE_DIR}/${folder}" AND NOT room IN_LIST rooms)
        list(APPEND problems "${folder}: there is no room ${room}")
    endif()
endforeach()

if(problems)
    list(JOIN problems "\n  " text)
    message(FATAL_ERROR "What the house does not allow:\n  ${text}\n")
endif()

# The library, its public headers under include/voripbase, which is on the include path of users, and the CMake package.
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/voripbase")

install(TARGETS voripbase EXPORT voripbaseTargets)

# A header is public when ipbase/voripbase.h reaches it; that file is the only list of them.
set(pending ipbase/voripbase.h)
set(public_headers)
while(pending)
    list(POP_FRONT pending header)
    if(header IN_LIST public_headers OR NOT EXISTS "${PROJECT_SOURCE_DIR}/${header}")
        continue()
    endif()
    list(APPEND public_headers "${header}")
    file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" includes REGEX "^#[ ]*include [\"<](imagemodel|ipbase|Core)/")
    foreach(line IN LISTS includes)
        string(REGEX REPLACE "^#[ ]*include [\"<]([^\">]+).*" "\\1" include "${line}")
        list(APPEND pending "${include}")
    endforeach()
endwhile()
foreach(header IN LISTS public_headers)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${header}")
    cmake_path(GET header PARENT_PATH folder)
    install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/voripbase/${folder}")
endforeach()

install(EXPORT voripbaseTargets NAMESPACE voripbase:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/voripbaseConfig.cmake.in voripbaseConfig.cmake INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(voripbaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/voripbaseConfig.cmake" "${PROJECT_BINARY_DIR}/voripbaseConfigVersion.cmake"
    DESTINATION "${package_dir}")

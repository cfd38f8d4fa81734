# Public headers under include/voripbase, which is on the include path of the users; the CMake package beside the library.
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/voripbase")

install(TARGETS voripbase EXPORT voripbaseTargets)

# Not public: how the library dispatches, walks rows and computes them.
foreach(folder IN ITEMS imagemodel ipbase Core)
    if(IS_DIRECTORY "${PROJECT_SOURCE_DIR}/${folder}")
        install(DIRECTORY ${folder} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/voripbase" FILES_MATCHING
            PATTERN "*.h"
            PATTERN "rows" EXCLUDE
            PATTERN "ipDispatch.h" EXCLUDE
            PATTERN "ipRows.h" EXCLUDE
            PATTERN "*Internal.h" EXCLUDE)
    endif()
endforeach()

install(EXPORT voripbaseTargets NAMESPACE voripbase:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/voripbaseConfig.cmake.in voripbaseConfig.cmake INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(voripbaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/voripbaseConfig.cmake" "${PROJECT_BINARY_DIR}/voripbaseConfigVersion.cmake"
    DESTINATION "${package_dir}")

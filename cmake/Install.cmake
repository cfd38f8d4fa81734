# The library, its public headers under include/voripbase, which is on the include path of users, and the CMake package.
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/voripbase")

install(TARGETS voripbase EXPORT voripbaseTargets)

# The public headers stand at the top of their folders.
file(GLOB public_headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}"
    imagemodel/*.h ipbase/*.h Core/vorTools/Inc/*.h)
foreach(header IN LISTS public_headers)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES "${header}" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/voripbase/${folder}")
endforeach()

install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(FILES docs/vorip.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" OPTIONAL)

# pkg-config files that may be moved together with the tree.
cmake_path(SET pc_dir "/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
cmake_path(RELATIVE_PATH pc_dir BASE_DIRECTORY "/")
string(REGEX REPLACE "[^/]+" ".." pc_prefix "${pc_dir}")
foreach(name voripbase voripmeasure)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()

install(EXPORT voripbaseTargets NAMESPACE voripbase:: DESTINATION "${package_dir}")
configure_package_config_file(cmake/voripbaseConfig.cmake.in voripbaseConfig.cmake INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(voripbaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/voripbaseConfig.cmake" "${PROJECT_BINARY_DIR}/voripbaseConfigVersion.cmake"
    DESTINATION "${package_dir}")

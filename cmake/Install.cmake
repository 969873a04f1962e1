# What `cmake --install` puts in place, and the Debian packages that cpack makes of it.
#
#   program      pcbin_las, its man page and its bash completion
#   development  the headers, the static libraries and the CMake package pcbin_las
include(CMakePackageConfigHelpers)

# --- component program
install(TARGETS pcbin_las RUNTIME COMPONENT program)

set(man_page ${PROJECT_BINARY_DIR}/packaging/pcbin_las.1)
configure_file(packaging/pcbin_las.1.in ${man_page} @ONLY)
find_program(GZIP_PROGRAM gzip)
mark_as_advanced(GZIP_PROGRAM)
if(GZIP_PROGRAM)
  execute_process(COMMAND ${GZIP_PROGRAM} -9nc ${man_page}
                  OUTPUT_FILE ${man_page}.gz COMMAND_ERROR_IS_FATAL ANY)
  set(man_page ${man_page}.gz)
endif()
install(FILES ${man_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
install(FILES packaging/pcbin_las.bash RENAME pcbin_las
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)

# --- component development
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/pcbin_las)
# A pipeline may link the libraries into shared libraries of its own. Without semantic interposition
# the compiler still inlines as it does for a program.
set_target_properties(pcbin_platform pcbin_storage PROPERTIES POSITION_INDEPENDENT_CODE ON)
target_compile_options(pcbin_platform PRIVATE -fno-semantic-interposition)
target_compile_options(pcbin_storage PRIVATE -fno-semantic-interposition)
set_target_properties(pcbin_platform PROPERTIES EXPORT_NAME platform)
set_target_properties(pcbin_storage PROPERTIES EXPORT_NAME storage)
install(TARGETS pcbin_platform pcbin_storage EXPORT pcbin_las ARCHIVE COMPONENT development)
install(EXPORT pcbin_las FILE pcbin_lasTargets.cmake NAMESPACE pcbin_las::
        DESTINATION ${package_dir} COMPONENT development)

configure_package_config_file(cmake/pcbin_lasConfig.cmake.in
  ${PROJECT_BINARY_DIR}/packaging/pcbin_lasConfig.cmake INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/packaging/pcbin_lasConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/packaging/pcbin_lasConfig.cmake
    ${PROJECT_BINARY_DIR}/packaging/pcbin_lasConfigVersion.cmake
    cmake/FindPclHeaders.cmake
  DESTINATION ${package_dir} COMPONENT development)
install(DIRECTORY src/pcbin_las/platform src/pcbin_las/storage DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pcbin_las
        COMPONENT development FILES_MATCHING PATTERN "*.h")

# --- Debian packages
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS  # not the umask's
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "pcbin_las developers <developers@pcbin-las.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has a summary of its own
set(CPACK_COMPONENTS_ALL program development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()  # otherwise that of the machine

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME pcbin-las)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION science)
if(CMAKE_CROSSCOMPILING)
  # The libraries of a cross compiler tell dpkg-shlibdeps nothing: those of Debian 12.
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
else()
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
endif()
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"turn pcbin point clouds and poses into LAS files
Refines the points of a pcbin file by the optimised poses of a pose-graph
run and writes them as a LAS 1.2 file for surveying and GIS software. Also
shows what pcbin and LAS files hold and mends LAS files whose header no
longer matches their records.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME pcbin-las-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libpcl-dev, libeigen3-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"read and write pcbin point clouds (development files)
Headers, static libraries and the CMake package pcbin_las of the library
with which a mapping pipeline writes its scans to pcbin files and reads
them back.")
include(CPack)

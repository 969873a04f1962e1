# SPDX-License-Identifier: BSD-3-Clause
# What `cmake --install` installs.
#
#   program      pcbin_las, its man page and its bash completion
#   development  the headers, the libraries, the CMake package pcbin_las and the pkg-config file;
#                src/ installs the first two
include(CMakePackageConfigHelpers)

# --- component program
if(PCBIN_BUILD_PROGRAM)
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
endif()

# --- component development
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/pcbin_las)
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

install(FILES ${PROJECT_BINARY_DIR}/include/pcbin_las/version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pcbin_las COMPONENT development)

set(pc_flags "-isystem ${PclHeaders_INCLUDE_DIR} -isystem ${PclHeaders_EIGEN_INCLUDE_DIR}")
if(BUILD_SHARED_LIBS)
  string(APPEND pc_flags " -DPCBIN_SHARED")
endif()
file(RELATIVE_PATH prefix_from_pc_file /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/pcbin_las.pc.in ${PROJECT_BINARY_DIR}/packaging/pcbin_las.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/pcbin_las.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

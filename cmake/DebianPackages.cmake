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
shows the contents of pcbin and LAS files and repairs LAS files whose header no
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

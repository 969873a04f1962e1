# SPDX-License-Identifier: BSD-3-Clause
# The Debian packages that cpack makes from the installed components; scripts/package.sh runs it.

include(GitVersion)
pcbin_git_version(${PROJECT_SOURCE_DIR} ${PROJECT_VERSION} CPACK_PACKAGE_VERSION)
set(CPACK_PACKAGE_CONTACT "pcbin_las developers <developers@pcbin-las.invalid>")

# The entry of one release in the changelog of a package, from its section of CHANGELOG.md.
# NAME is the version of the package, DATE a date as Debian writes it.
function(pcbin_changelog_entry RELEASE NAME DATE VARIABLE)
  string(REGEX REPLACE ".*\n## ${RELEASE} [^\n]*\n+" "\n" changes "${pcbin_changelog}")
  string(REGEX REPLACE "\n## .*" "\n" changes "${changes}")
  string(REGEX REPLACE "\n  " "\n    " changes "${changes}")
  string(REGEX REPLACE "\n- " "\n  * " changes "${changes}")
  string(REGEX REPLACE "\n([^ \n])" "\n  \\1" changes "${changes}")
  file(WRITE ${PROJECT_BINARY_DIR}/packaging/changes "${changes}")
  execute_process(COMMAND fmt -t -w 78 ${PROJECT_BINARY_DIR}/packaging/changes OUTPUT_VARIABLE changes
                  COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "\n([^ \n])" "\n    \\1" changes "${changes}")
  string(STRIP "${changes}" changes)
  string(CONCAT entry "@PACKAGE@ (${NAME}) unstable; urgency=medium\n\n  ${changes}\n\n"
         " -- ${CPACK_PACKAGE_CONTACT}  ${DATE}\n")
  set(${VARIABLE} "${entry}" PARENT_SCOPE)
endfunction()

# The changelog of all releases. Releases have the date of CHANGELOG.md; a state that is no release has that of
# SOURCE_DATE_EPOCH if set, otherwise now.
file(READ CHANGELOG.md pcbin_changelog)
string(REGEX MATCHALL "\n## [0-9.]+ \\([0-9-]+" sections "${pcbin_changelog}")
set(debian_changelog "")
foreach(section IN LISTS sections)
  string(REGEX MATCH "([0-9.]+) .([0-9-]+)" ignored "${section}")
  set(release ${CMAKE_MATCH_1})
  set(date ${CMAKE_MATCH_2})
  set(name ${release})
  if(release STREQUAL PROJECT_VERSION AND NOT CPACK_PACKAGE_VERSION STREQUAL PROJECT_VERSION)
    set(name ${CPACK_PACKAGE_VERSION})
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  else()
    execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date -u -d ${date} "+%a, %d %b %Y 00:00:00 +0000"
                    OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  endif()
  pcbin_changelog_entry(${release} ${name} "${date}" entry)
  if(debian_changelog)
    string(APPEND debian_changelog "\n")
  endif()
  string(APPEND debian_changelog "${entry}")
endforeach()

# Adds the licence and the changelog to a package.
function(pcbin_add_package_documents COMPONENT PACKAGE)
  set(documents ${PROJECT_BINARY_DIR}/packaging/${PACKAGE})
  string(REPLACE "@PACKAGE@" ${PACKAGE} text "${debian_changelog}")
  file(WRITE ${documents}/changelog "${text}")
  if(GZIP_PROGRAM)
    execute_process(COMMAND ${GZIP_PROGRAM} -9nc ${documents}/changelog
                    OUTPUT_FILE ${documents}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${documents}/changelog.gz DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE}
            COMPONENT ${COMPONENT})
  endif()
  install(FILES LICENSE RENAME copyright DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE}
          COMPONENT ${COMPONENT})
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS  # not the umask's
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
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
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION
"turn pcbin point clouds and poses into LAS files
Moves the points of a pcbin file to the optimised poses of a pose-graph run
and writes them as a LAS 1.2 file for surveying and GIS software. Also shows
the contents of pcbin and LAS files, and repairs LAS files whose header does
not agree with their records.")
pcbin_add_package_documents(program pcbin-las)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME pcbin-las-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libpcl-dev, libeigen3-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"read and write pcbin point clouds (development files)
Headers, static libraries, the CMake package and the pkg-config file of the
library with which a mapping pipeline writes its scans to pcbin files and
reads them back.")
pcbin_add_package_documents(development pcbin-las-dev)

if(EXISTS ${PROJECT_SOURCE_DIR}/python/CMakeLists.txt)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-pcbin)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3, python3-numpy")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
      ${PROJECT_SOURCE_DIR}/packaging/python3-pcbin/postinst ${PROJECT_SOURCE_DIR}/packaging/python3-pcbin/prerm)
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION
"read and write pcbin point clouds and pose files (Python)
A module on NumPy that gives the frames of a pcbin file as structured arrays
without copying them, writes frames, and reads and writes pose files.")
  pcbin_add_package_documents(python python3-pcbin)
endif()
include(CPack)

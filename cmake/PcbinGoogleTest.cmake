# SPDX-License-Identifier: BSD-3-Clause
# GoogleTest for the tests: the libraries that Debian has built, or, with PCBIN_BUILD_GOOGLETEST or
# where these are missing, its sources, which are compiled with the flags of the tests. A sanitizer
# and a cross compiler need the latter.
if(NOT PCBIN_BUILD_GOOGLETEST)
  find_package(GTest QUIET CONFIG)
endif()
if(NOT TARGET GTest::gmock_main)
  find_path(GOOGLETEST_SOURCE_DIR googletest/CMakeLists.txt PATHS /usr/src/googletest NO_DEFAULT_PATH)
  if(NOT GOOGLETEST_SOURCE_DIR)
    message(FATAL_ERROR "The tests need GoogleTest: install the packages libgtest-dev and libgmock-dev, "
                        "or configure with -DPCBIN_BUILD_TESTS=OFF")
  endif()
  set(INSTALL_GTEST OFF)
  set(BUILD_SHARED_LIBS OFF)
  add_subdirectory(${GOOGLETEST_SOURCE_DIR} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endif()
include(GoogleTest)

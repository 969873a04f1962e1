# SPDX-License-Identifier: BSD-3-Clause
# Sets VARIABLE to the value of EIGEN_MAX_ALIGN_BYTES with the current compiler flags.
function(pcbin_find_eigen_alignment VARIABLE)
  set(source ${PROJECT_BINARY_DIR}/eigen_alignment/value.cpp)
  file(WRITE ${source} [[
#include <Eigen/Core>
#define TEXT_OF(value) #value
#define TEXT(value) TEXT_OF(value)
extern const char pcbinValue[];
const char pcbinValue[] = "pcbin_value=" TEXT(EIGEN_MAX_ALIGN_BYTES) ";";
]])
  get_directory_property(options COMPILE_OPTIONS)
  get_directory_property(definitions COMPILE_DEFINITIONS)
  list(TRANSFORM definitions PREPEND -D)
  string(GENEX_STRIP "${options};${definitions}" flags)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  try_compile(compiled ${PROJECT_BINARY_DIR}/eigen_alignment ${source}
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${PclHeaders_EIGEN_INCLUDE_DIR}
    COMPILE_DEFINITIONS ${flags}
    OUTPUT_VARIABLE output
    COPY_FILE ${PROJECT_BINARY_DIR}/eigen_alignment/value.a)
  if(compiled)
    file(STRINGS ${PROJECT_BINARY_DIR}/eigen_alignment/value.a found REGEX "pcbin_value=[0-9]+;")
  endif()
  if(NOT found MATCHES "pcbin_value=([0-9]+)")
    message(FATAL_ERROR "EIGEN_MAX_ALIGN_BYTES has no value that can be determined:\n${output}")
  endif()
  set(${VARIABLE} ${CMAKE_MATCH_1} PARENT_SCOPE)
endfunction()

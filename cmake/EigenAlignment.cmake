# SPDX-License-Identifier: BSD-3-Clause
# Sets PCBIN_EIGEN_MAX_ALIGN_BYTES, PCBIN_EIGEN_MAX_STATIC_ALIGN_BYTES, PCBIN_EIGEN_MALLOC_ALREADY_ALIGNED and
# PCBIN_GLIBCXX_DEBUG to the values that Eigen and the standard library have with the current compiler flags.
function(pcbin_find_eigen_alignment)
  set(folder ${PROJECT_BINARY_DIR}/eigen_alignment)
  file(WRITE ${folder}/value.cpp [[
#include <vector>
#include <Eigen/Core>
#define TEXT_OF(value) #value
#define TEXT(value) TEXT_OF(value)
#ifdef _GLIBCXX_DEBUG
#define DEBUG_MODE 1
#else
#define DEBUG_MODE 0
#endif
extern const char pcbinValues[];
const char pcbinValues[] = "pcbin_values=" TEXT(EIGEN_MAX_ALIGN_BYTES) "," TEXT(EIGEN_MAX_STATIC_ALIGN_BYTES)
                           "," TEXT(EIGEN_MALLOC_ALREADY_ALIGNED) "," TEXT(DEBUG_MODE) ";";
]])
  get_directory_property(options COMPILE_OPTIONS)
  get_directory_property(definitions COMPILE_DEFINITIONS)
  list(TRANSFORM definitions PREPEND -D)
  string(GENEX_STRIP "${options};${definitions}" flags)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  try_compile(compiled ${folder} ${folder}/value.cpp
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${PclHeaders_EIGEN_INCLUDE_DIR}
    COMPILE_DEFINITIONS ${flags}
    OUTPUT_VARIABLE output
    COPY_FILE ${folder}/value.a)
  if(compiled)
    file(STRINGS ${folder}/value.a found REGEX "pcbin_values=[0-9,]+;")
  endif()
  if(NOT found MATCHES "pcbin_values=([0-9]+),([0-9]+),([0-9]+),([0-9]+)")
    message(FATAL_ERROR "Eigen's alignment has no value that can be determined:\n${output}")
  endif()
  set(PCBIN_EIGEN_MAX_ALIGN_BYTES ${CMAKE_MATCH_1} PARENT_SCOPE)
  set(PCBIN_EIGEN_MAX_STATIC_ALIGN_BYTES ${CMAKE_MATCH_2} PARENT_SCOPE)
  set(PCBIN_EIGEN_MALLOC_ALREADY_ALIGNED ${CMAKE_MATCH_3} PARENT_SCOPE)
  set(PCBIN_GLIBCXX_DEBUG ${CMAKE_MATCH_4} PARENT_SCOPE)
endfunction()

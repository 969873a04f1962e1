# SPDX-License-Identifier: BSD-3-Clause
# Finds the headers of nlohmann-json and provides the target JsonHeaders::JsonHeaders. Their directory also
# contains the C library's headers of the build machine, which a cross compiler must not use. The target
# therefore uses a directory with a link to them only.
find_path(JsonHeaders_INCLUDE_DIR nlohmann/json.hpp)
mark_as_advanced(JsonHeaders_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(JsonHeaders
  REQUIRED_VARS JsonHeaders_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "the program gets no option --summary (package nlohmann-json3-dev)")

if(JsonHeaders_FOUND AND NOT TARGET JsonHeaders::JsonHeaders)
  set(_json_link ${PROJECT_BINARY_DIR}/json_headers)
  file(MAKE_DIRECTORY ${_json_link})
  file(CREATE_LINK ${JsonHeaders_INCLUDE_DIR}/nlohmann ${_json_link}/nlohmann SYMBOLIC)
  add_library(JsonHeaders::JsonHeaders INTERFACE IMPORTED)
  target_include_directories(JsonHeaders::JsonHeaders SYSTEM INTERFACE ${_json_link})
endif()

# SPDX-License-Identifier: BSD-3-Clause
# The compile options of all targets, and functions that define targets.

# -ffp-contract=off: without fused multiply-adds, Arm and x86 compute the same bits.
# -fPIC and what follows it: objects may become part of a shared library. Without semantic interposition the
# compiler still inlines as it does for a program.
add_library(pcbin_compile_options INTERFACE)
target_compile_features(pcbin_compile_options INTERFACE cxx_std_20)
target_compile_options(pcbin_compile_options INTERFACE
  -ffp-contract=off -fno-math-errno
  -fPIC -fvisibility=hidden -fvisibility-inlines-hidden -fno-semantic-interposition
  -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
  -Wformat=2 -Wnull-dereference
  # g++ 12 gives false alarms for sums of strings.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-stringop-overflow>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds>
  $<$<BOOL:${PCBIN_WARNINGS_AS_ERRORS}>:-Werror>)

# One precompiled header for the libraries and programs: half of the time to compile. A source file that does not
# include what it uses fails where precompiled headers are off.
if(PROJECT_IS_TOP_LEVEL AND NOT BUILD_SHARED_LIBS)
  file(WRITE ${PROJECT_BINARY_DIR}/precompiled.cpp "")
  add_library(pcbin_precompiled OBJECT ${PROJECT_BINARY_DIR}/precompiled.cpp)
  target_link_libraries(pcbin_precompiled PRIVATE pcbin_compile_options PclHeaders::PclHeaders Threads::Threads)
  target_precompile_headers(pcbin_precompiled PRIVATE
    <algorithm> <array> <atomic> <cmath> <condition_variable> <deque> <filesystem> <functional> <memory> <mutex>
    <optional> <span> <string> <string_view> <thread> <vector> <Eigen/Geometry> <pcl/point_cloud.h>)
endif()
function(pcbin_use_precompiled_header NAME)
  if(TARGET pcbin_precompiled)
    target_precompile_headers(${NAME} REUSE_FROM pcbin_precompiled)
  endif()
endfunction()

# Sets what users of library NAME compile and link with.
function(pcbin_set_usage NAME)
  target_include_directories(${NAME} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${NAME} INTERFACE cxx_std_20)
  target_link_libraries(${NAME} PUBLIC ${ARGN})
endfunction()

# A static library for one folder of src/, linked to the libraries below it.
# Usage: pcbin_add_library(NAME SOURCES ... LINKS ...)
function(pcbin_add_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${NAME} STATIC ${ARG_SOURCES})
  target_include_directories(${NAME} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/include)
  target_link_libraries(${NAME} PRIVATE $<BUILD_INTERFACE:pcbin_compile_options>)
  pcbin_use_precompiled_header(${NAME})
  set_target_properties(${NAME} PROPERTIES UNITY_BUILD ${PCBIN_UNITY_BUILD})
  pcbin_set_usage(${NAME} ${ARG_LINKS})
endfunction()

# A static library for callers, with the alias pcbin_las::SHORT_NAME and installed HEADERS. With
# BUILD_SHARED_LIBS callers get a shared library of the same objects; the programs of this project always link
# the static one.
# Usage: pcbin_add_public_library(NAME SHORT_NAME SOURCES ... HEADERS ... LINKS ...)
function(pcbin_add_public_library NAME SHORT_NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;HEADERS;LINKS" ${ARGN})
  pcbin_add_library(${NAME} SOURCES ${ARG_SOURCES} LINKS ${ARG_LINKS})

  set(public_library ${NAME})
  if(BUILD_SHARED_LIBS)
    set(public_library ${NAME}_shared)
    list(TRANSFORM ARG_LINKS APPEND _shared REGEX "^pcbin_")
    add_library(${public_library} SHARED $<TARGET_OBJECTS:${NAME}>)
    target_link_options(${public_library} PRIVATE -Wl,--no-undefined)
    # Releases with the same major and minor number are compatible.
    set_target_properties(${public_library} PROPERTIES
      OUTPUT_NAME ${NAME} LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION}
      SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
    pcbin_set_usage(${public_library} ${ARG_LINKS})
    # PCBIN_API marks the interface; in a static build it is empty, so that a caller's shared library that
    # links ours exports nothing of it.
    target_compile_definitions(${NAME} PRIVATE PCBIN_SHARED)
    target_compile_definitions(${public_library} INTERFACE PCBIN_SHARED)
  endif()
  add_library(pcbin_las::${SHORT_NAME} ALIAS ${public_library})
  set_target_properties(${public_library} PROPERTIES EXPORT_NAME ${SHORT_NAME})
  if(PCBIN_INSTALL)
    install(TARGETS ${public_library} EXPORT pcbin_las COMPONENT development)
    install(FILES ${ARG_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pcbin_las/${SHORT_NAME}
            COMPONENT development)
  endif()
endfunction()

# A program: the tool, a fuzz target, a benchmark, an example.
# Usage: pcbin_add_executable(NAME SOURCES ... LINKS ...)
function(pcbin_add_executable NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_link_libraries(${NAME} PRIVATE ${ARG_LINKS} pcbin_compile_options)
  pcbin_use_precompiled_header(${NAME})
endfunction()

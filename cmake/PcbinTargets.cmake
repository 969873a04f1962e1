# How every target of the project is compiled.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# -O2 beats -O3 here, which splits the decoding loop into several passes over a block.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

# -ffp-contract=off: without fused multiply-adds, Arm and x86 compute the same bits.
add_library(pcbin_compile_options INTERFACE)
target_compile_features(pcbin_compile_options INTERFACE cxx_std_20)
target_compile_options(pcbin_compile_options INTERFACE
  -ffp-contract=off -fno-math-errno
  -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
  -Wformat=2 -Wnull-dereference
  $<$<BOOL:${PCBIN_WARNINGS_AS_ERRORS}>:-Werror>)

# A static library for one folder of src/, linked to the rooms below it.
# Usage: pcbin_add_library(NAME SOURCES ... LINKS ...)
function(pcbin_add_library NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${NAME} STATIC ${ARG_SOURCES})
  target_include_directories(${NAME} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${NAME} PUBLIC cxx_std_20)
  target_link_libraries(${NAME} PUBLIC ${ARG_LINKS} PRIVATE $<BUILD_INTERFACE:pcbin_compile_options>)
endfunction()

# A program outside the rooms: tests, benchmarks, examples.
# Usage: pcbin_add_executable(NAME SOURCES ... LINKS ...)
function(pcbin_add_executable NAME)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${NAME} ${ARG_SOURCES})
  target_link_libraries(${NAME} PRIVATE ${ARG_LINKS} pcbin_compile_options)
endfunction()

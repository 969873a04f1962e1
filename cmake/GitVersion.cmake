# SPDX-License-Identifier: BSD-3-Clause
# The version of a build: of a state that is not tagged as the release, the number of the release that it comes
# after or leads to, and the commit. 0.2.0+git20261123121410.1a2b3c4, with .changed when files differ from it.
# Outside a repository of its own, it is the number alone.

# Sets VARIABLE to the version of the sources in SOURCE_DIR, whose release has NUMBER.
function(pcbin_git_version SOURCE_DIR NUMBER VARIABLE)
  set(${VARIABLE} ${NUMBER} PARENT_SCOPE)
  set(git ${CMAKE_COMMAND} -E env TZ=UTC0 git -C ${SOURCE_DIR} -c safe.directory=${SOURCE_DIR})
  execute_process(COMMAND ${git} rev-parse --show-toplevel OUTPUT_VARIABLE top
                  OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
  if(failed OR NOT top STREQUAL SOURCE_DIR)
    return()
  endif()
  execute_process(COMMAND ${git} tag --points-at HEAD OUTPUT_VARIABLE tags ERROR_QUIET)
  execute_process(COMMAND ${git} log -1 --date=format-local:%Y%m%d%H%M%S --abbrev=7 --format=%cd.%h
                  OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE failed)
  execute_process(COMMAND ${git} diff --quiet HEAD -- RESULT_VARIABLE changed ERROR_QUIET)
  if(changed EQUAL 1)
    string(APPEND commit .changed)
  elseif(tags MATCHES "(^|\n)v?${NUMBER}\n")
    return()
  endif()
  if(NOT failed)
    set(${VARIABLE} ${NUMBER}+git${commit} PARENT_SCOPE)
  endif()
endfunction()

# As a script, writes a header with the version when it has changed:
# cmake -DSOURCE_DIR=... -DNUMBER=... -DHEADER=... -P GitVersion.cmake
if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  pcbin_git_version(${SOURCE_DIR} ${NUMBER} version)
  file(CONFIGURE OUTPUT ${HEADER} CONTENT "#define PCBIN_LAS_FULL_VERSION \"${version}\"\n")
endif()

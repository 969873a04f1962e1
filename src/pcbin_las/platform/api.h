// SPDX-License-Identifier: BSD-3-Clause
// What every installed header relies on: the language standard, and the marker of the interface.
#pragma once

#if __cplusplus < 202002L
#error "pcbin_las needs C++20: compile with -std=c++20 or link the CMake target pcbin_las::storage"
#endif

/// Marks what the shared libraries export; everything else in them is hidden. The static libraries
/// export nothing: two plugins of one process may contain different versions.
#ifdef PCBIN_SHARED
#define PCBIN_API [[gnu::visibility("default")]]
#else
#define PCBIN_API
#endif

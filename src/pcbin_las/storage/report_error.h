// SPDX-License-Identifier: BSD-3-Clause
// Reporting an error of PclBinary and its derived classes.
#pragma once

#include "pcbin_las/platform/trace_macros.h"

/// Prints an error line of a member function of PclBinary or a derived class, and keeps its text
/// for lastError(). The arguments after `function` are those of printf; they are evaluated twice.
#define PCBIN_REPORT_ERROR(className, function, ...)                  \
  do {                                                                \
    TRACE_MEMBER_ERROR((className).c_str(), (function), __VA_ARGS__); \
    rememberError(__VA_ARGS__);                                       \
  } while (false)

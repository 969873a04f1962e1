// SPDX-License-Identifier: BSD-3-Clause
// The layout of log lines. These macros put the level's tag, the time and the origin before a
// message and escape control characters. Arguments of a line below the threshold are not evaluated.
// `format` is a printf string literal.
//
//   error, warning in a member function    <E>TIME [CLASS::FUNCTION,LLINE] message
//   error, warning in a free function      <E>TIME [FUNCTION,LLINE] message
//   information                            <I>TIME [FUNCTION] message (or [CLASS::FUNCTION])
//   a prompt to the operator               <C>message, yellow and bold
#pragma once

#include "pcbin_las/platform/date_time.h"
#include "pcbin_las/platform/tracer.h"

#define FERRUN_PRINT(level, ...)                                                           \
  do {                                                                                     \
    ferrun::Tracer* const ferrunTracer = ferrun::Singleton<ferrun::Tracer>::getInstance(); \
    if (ferrunTracer->enabled(level)) ferrunTracer->printEscaped(level, __VA_ARGS__);      \
  } while (false)

#define FERRUN_TIME_TEXT ferrun::DateTime::getDateTime().text().data()

#define TRACE_ERROR(function, format, ...)                                                \
  FERRUN_PRINT(ferrun::kLevelError, "<E>%s [%s,L%d] " format, FERRUN_TIME_TEXT, function, \
               __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define TRACE_WARNING(function, format, ...)                                                \
  FERRUN_PRINT(ferrun::kLevelWarning, "<W>%s [%s,L%d] " format, FERRUN_TIME_TEXT, function, \
               __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define TRACE_INFO(function, format, ...)                                  \
  FERRUN_PRINT(ferrun::kLevelInfo, "<I>%s [%s] " format, FERRUN_TIME_TEXT, \
               function __VA_OPT__(, ) __VA_ARGS__)
#define TRACE_PROMPT(format, ...)  \
  FERRUN_PRINT(ferrun::kLevelInfo, \
               FERRUN_PROMPT_START format FERRUN_PROMPT_END __VA_OPT__(, ) __VA_ARGS__)

/// The same for member functions; `className` is a C string.
#define TRACE_MEMBER_ERROR(className, function, format, ...)                                   \
  FERRUN_PRINT(ferrun::kLevelError, "<E>%s [%s::%s,L%d] " format, FERRUN_TIME_TEXT, className, \
               function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define TRACE_MEMBER_WARNING(className, function, format, ...)                                   \
  FERRUN_PRINT(ferrun::kLevelWarning, "<W>%s [%s::%s,L%d] " format, FERRUN_TIME_TEXT, className, \
               function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define TRACE_MEMBER_INFO(className, function, format, ...)                               \
  FERRUN_PRINT(ferrun::kLevelInfo, "<I>%s [%s::%s] " format, FERRUN_TIME_TEXT, className, \
               function __VA_OPT__(, ) __VA_ARGS__)

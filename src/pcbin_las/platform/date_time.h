// SPDX-License-Identifier: BSD-3-Clause
// Local calendar time.
#pragma once

#include <array>
#include <string>

#include "pcbin_las/platform/api.h"

namespace ferrun {

/// A broken-down local calendar time.
class PCBIN_API DateTime {
 public:
  /// A text that ends with a zero byte.
  using Text = std::array<char, 40>;

  /// The current time in the local time zone.
  static DateTime getDateTime();

  /// The time text that opens log lines: "2026-11-22 19:44:03.123".
  std::string toString() const { return text().data(); }

  /// The same text without an allocation.
  Text text() const;

  int year = 1970;      ///< four digits
  int month = 1;        ///< 1 to 12
  int day = 1;          ///< 1 to 31
  int hour = 0;         ///< 0 to 23
  int minute = 0;       ///< 0 to 59
  int second = 0;       ///< 0 to 60
  int millisecond = 0;  ///< 0 to 999
};

}  // namespace ferrun

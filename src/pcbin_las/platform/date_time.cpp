// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/date_time.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace ferrun {
namespace {

/// Writes `value` as `digits` decimal digits.
void writeDigits(char* out, int value, int digits) {
  for (int i = digits - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
}

}  // namespace

DateTime DateTime::getDateTime() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  // localtime_r() costs far more than the rest of a log line's time text: once a second is enough.
  thread_local std::time_t knownSecond = -1;
  thread_local DateTime known;
  if (now.tv_sec != knownSecond) {
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    known.year = local.tm_year + 1900;
    known.month = local.tm_mon + 1;
    known.day = local.tm_mday;
    known.hour = local.tm_hour;
    known.minute = local.tm_min;
    known.second = local.tm_sec;
    knownSecond = now.tv_sec;
  }
  known.millisecond = static_cast<int>(now.tv_nsec / 1'000'000);
  return known;
}

DateTime::Text DateTime::text() const {
  Text text{};
  if (year < 0 || year > 9999) {
    std::snprintf(text.data(), text.size(), "%d-%02d-%02d %02d:%02d:%02d.%03d", year, month, day,
                  hour, minute, second, millisecond);
    return text;
  }
  // Not snprintf(): it would take half of the time of a log line.
  constexpr char kPattern[] = "0000-00-00 00:00:00.000";
  std::memcpy(text.data(), kPattern, sizeof(kPattern));
  writeDigits(&text[0], year, 4);
  writeDigits(&text[5], month, 2);
  writeDigits(&text[8], day, 2);
  writeDigits(&text[11], hour, 2);
  writeDigits(&text[14], minute, 2);
  writeDigits(&text[17], second, 2);
  writeDigits(&text[20], millisecond, 3);
  return text;
}

}  // namespace ferrun

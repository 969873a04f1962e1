// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/point_summary.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "pcbin_las/platform/str_util.h"

namespace pontra {
namespace {

using ferrun::StrUtil;

constexpr std::uint64_t kMostLegacy = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t kReturnByte = 14;  // its offset in a record of any format

std::int32_t coordinate(const char* record, std::size_t axis) {
  std::int32_t value;
  std::memcpy(&value, record + axis * sizeof(value), sizeof(value));
  return value;
}

bool isZero(const char* bytes, std::size_t size) {
  return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

/// Sets a field; true when that changes it.
template <class Field>
bool set(Field& field, std::uint64_t value) {
  if (field == value) return false;
  field = static_cast<Field>(value);
  return true;
}

void append(std::string& changes, const std::string& change) {
  changes += (changes.empty() ? "" : ", ") + change;
}

void correctCounts(LasLayout& layout, const PointSummary& points, std::string& changes) {
  LasHeader14& header = layout.header;
  const std::uint64_t legacy = header.start.numberOfPointRecords;
  const bool belongsToLongCount = layout.hasLongFormat() && layout.hasLongCount();
  const bool mustBeZero =
      points.count() > kMostLegacy || (belongsToLongCount && legacy != points.count());
  const std::uint64_t value = mustBeZero ? 0 : points.count();
  const bool legacyChanged = legacy != value;
  const bool longChanged = layout.hasLongCount() && header.numberOfPointRecords != points.count();
  header.start.numberOfPointRecords = static_cast<std::uint32_t>(value);
  if (longChanged) header.numberOfPointRecords = points.count();
  if (longChanged || (legacyChanged && !layout.hasLongCount()))
    append(changes,
           StrUtil::format("points %llu -> %llu", static_cast<unsigned long long>(layout.announced),
                           static_cast<unsigned long long>(points.count())));
  else if (legacyChanged)
    append(changes,
           StrUtil::format("legacy count %llu -> %llu", static_cast<unsigned long long>(legacy),
                           static_cast<unsigned long long>(value)));
}

void correctReturns(LasLayout& layout, const PointSummary& points, std::string& changes) {
  LasHeader14& header = layout.header;
  bool changed = false;
  std::array<std::uint32_t, 5> legacy;
  std::memcpy(legacy.data(), header.start.numberOfPointsByReturn, sizeof(legacy));
  bool right = true;
  for (std::size_t i = 0; i < legacy.size(); ++i) right &= legacy[i] == points.withReturn(i + 1);
  const bool mustBeZero = !right && layout.hasLongFormat() && layout.hasLongReturns();
  for (std::size_t i = 0; i < legacy.size(); ++i) {
    const std::uint64_t value = points.withReturn(i + 1);
    changed |= set(legacy[i], mustBeZero || value > kMostLegacy ? 0 : value);
  }
  std::memcpy(header.start.numberOfPointsByReturn, legacy.data(), sizeof(legacy));
  if (layout.hasLongReturns()) {
    std::array<std::uint64_t, 15> counts;
    std::memcpy(counts.data(), header.numberOfPointsByReturn, sizeof(counts));
    for (std::size_t i = 0; i < counts.size(); ++i)
      changed |= set(counts[i], points.withReturn(i + 1));
    std::memcpy(header.numberOfPointsByReturn, counts.data(), sizeof(counts));
  }
  if (changed) append(changes, "counts by return corrected");
}

void correctBounds(LasLayout& layout, const PointSummary& points, std::string& changes) {
  if (points.count() == 0) return;
  struct Axis {
    double factor, offset, max, min;
  };
  LasHeader& start = layout.header.start;
  std::array<Axis, 3> axes = {{{start.xScaleFactor, start.xOffset, start.maxX, start.minX},
                               {start.yScaleFactor, start.yOffset, start.maxY, start.minY},
                               {start.zScaleFactor, start.zOffset, start.maxZ, start.minZ}}};
  bool changed = false;
  for (std::size_t i = 0; i < axes.size(); ++i) {
    Axis& axis = axes[i];
    const double one = points.low(i) * axis.factor + axis.offset;
    const double other = points.high(i) * axis.factor + axis.offset;
    if (axis.factor == 0 || !std::isfinite(one) || !std::isfinite(other)) {
      layout.warnings.push_back(StrUtil::format(
          "the bounds of %c are not checked, scale factor %g and offset %g give no coordinates",
          "xyz"[i], axis.factor, axis.offset));
      continue;
    }
    const auto correct = [&](double& bound, double value) {
      if (std::fabs(bound - value) <= std::fabs(axis.factor) / 2) return;
      bound = value;
      changed = true;
    };
    const auto [low, high] = std::minmax(one, other);
    correct(axis.min, low);
    correct(axis.max, high);
  }
  start.maxX = axes[0].max;
  start.minX = axes[0].min;
  start.maxY = axes[1].max;
  start.minY = axes[1].min;
  start.maxZ = axes[2].max;
  start.minZ = axes[2].min;
  if (changed) append(changes, "bounds corrected");
}

}  // namespace

PointSummary::PointSummary(const LasLayout& layout)
    : recordLength_(layout.header.start.pointDataRecordLength),
      announced_(layout.announced),
      returnMask_(layout.hasLongFormat() ? 0x0F : 0x07) {
  low_.fill(std::numeric_limits<std::int32_t>::max());
  high_.fill(std::numeric_limits<std::int32_t>::min());
}

void PointSummary::add(const char* records, std::size_t count) {
  const std::uint64_t known = announced_ - std::min(count_ + zeroRecords_, announced_);
  const auto announced = static_cast<std::size_t>(std::min<std::uint64_t>(known, count));
  addPoints(records, announced);
  for (std::size_t i = announced; i < count; ++i) {
    const char* const record = records + i * recordLength_;
    if (isZero(record, recordLength_)) {
      ++zeroRecords_;
      continue;
    }
    if (zeroRecords_ > 0) addZeroRecords();
    addPoints(record, 1);
  }
}

/// Makes points of the records of zero bytes, since they are not at the end.
void PointSummary::addZeroRecords() {
  for (std::int32_t& value : low_) value = std::min(value, 0);
  for (std::int32_t& value : high_) value = std::max(value, 0);
  returns_[0] += zeroRecords_;
  count_ += std::exchange(zeroRecords_, 0);
}

void PointSummary::addPoints(const char* records, std::size_t count) {
  // Copies, which the compiler can keep in registers.
  std::array<std::int32_t, 3> low = low_;
  std::array<std::int32_t, 3> high = high_;
  for (std::size_t i = 0; i < count; ++i) {
    const char* const record = records + i * recordLength_;
    for (std::size_t axis = 0; axis < low.size(); ++axis) {
      low[axis] = std::min(low[axis], coordinate(record, axis));
      high[axis] = std::max(high[axis], coordinate(record, axis));
    }
    ++returns_[static_cast<unsigned char>(record[kReturnByte]) & returnMask_];
  }
  low_ = low;
  high_ = high;
  count_ += count;
}

std::string correctHeader(LasLayout& layout, const PointSummary& points) {
  std::string changes;
  LasHeader& start = layout.header.start;
  if (start.headerSize != layout.headerSize) {
    append(changes, StrUtil::format("header size %d -> %d", start.headerSize, layout.headerSize));
    start.headerSize = static_cast<std::uint16_t>(layout.headerSize);
  }
  correctCounts(layout, points, changes);
  correctReturns(layout, points, changes);
  correctBounds(layout, points, changes);
  if (layout.announced != 0 && points.count() > layout.announced)
    layout.warnings.push_back(
        StrUtil::format("the header declares %llu points, the file holds %llu",
                        static_cast<unsigned long long>(layout.announced),
                        static_cast<unsigned long long>(points.count())));
  return changes;
}

}  // namespace pontra

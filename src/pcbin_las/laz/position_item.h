// SPDX-License-Identifier: BSD-3-Clause
// Codes the first 20 bytes of a record: item POINT10, version 2.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "pcbin_las/laz/integer_coder.h"
#include "pcbin_las/laz/models.h"
#include "pcbin_las/laz/record_layout.h"

namespace laz {

/// The median of the last values, estimated from five of them.
class RunningMedian {
 public:
  std::uint32_t value() const { return static_cast<std::uint32_t>(values_[2]); }

  /// Replaces the highest or the lowest of the five values by `added`.
  void add(std::uint32_t added) {
    const auto value = static_cast<std::int32_t>(added);
    const std::array<std::int32_t, 5> v = values_;
    const bool high = dropHigh_;
    dropHigh_ = high ? value < v[2] : value <= v[2];
    const std::array<std::int32_t, 4> kept = {high ? v[0] : v[1], high ? v[1] : v[2],
                                              high ? v[2] : v[3], high ? v[3] : v[4]};
    // Each place gets the kept value below it, the new one or the kept value above it.
    values_ = {std::min(kept[0], value), std::max(kept[0], std::min(kept[1], value)),
               std::max(kept[1], std::min(kept[2], value)),
               std::max(kept[2], std::min(kept[3], value)), std::max(kept[3], value)};
  }

 private:
  std::array<std::int32_t, 5> values_ = {};  ///< in ascending order
  bool dropHigh_ = true;
};

/// The models and predictions of item POINT10.
template <class Coder>
class PositionItem {
 public:
  /// Starts a chunk, whose first point has the fields `first`.
  void reset(const PositionFields& first) {
    last_ = first;
    intensities_.fill(0);
    xSteps_.fill({});
    ySteps_.fill({});
    heights_.fill(0);
    changed_.reset(64);
    returnBytes_.reset();
    classifications_.reset();
    userData_.reset();
    for (auto& model : scanAngles_) model.reset(256);
    intensity_.reset();
    sourceId_.reset();
    x_.reset();
    y_.reset();
    z_.reset();
  }

  /// Encodes the fields, or decodes into them.
  [[gnu::always_inline]] void code(Coder& coder, PositionFields& fields) {
    unsigned changed = 0;
    if constexpr (Coder::kEncodes)
      changed = changesOf(fields);
    else
      fields = last_;
    changed = coder.symbol(changed_, changed);
    if ((changed & kReturnByte) != 0)
      fields.returnByte = static_cast<std::uint8_t>(
          coder.symbol(returnBytes_[last_.returnByte], fields.returnByte));
    const unsigned m = kReturnMap[numberOfReturns(fields)][returnNumber(fields)];
    if ((changed & kIntensity) != 0)
      intensities_[m] = static_cast<std::uint16_t>(
          intensity_.code(coder, std::min(m, 3U), intensities_[m], fields.intensity));
    fields.intensity = intensities_[m];
    if ((changed & kOthers) != 0) codeOthers(coder, changed, fields);
    codeCoordinates(coder, m, fields);
    last_ = fields;
  }

 private:
  /// The bits of the symbol that says which fields change.
  enum Change : unsigned {
    kSourceId = 1,
    kUserData = 2,
    kScanAngle = 4,
    kClassification = 8,
    kIntensity = 16,
    kReturnByte = 32,
    kOthers = kSourceId | kUserData | kScanAngle | kClassification,
  };

  /// The context of a point: [number of returns][return number].
  static constexpr std::uint8_t kReturnMap[8][8] = {
      {15, 14, 13, 12, 11, 10, 9, 8},    //
      {14, 0, 1, 3, 6, 10, 10, 9},       //
      {13, 1, 2, 4, 7, 11, 11, 10},      //
      {12, 3, 4, 5, 8, 12, 12, 11},      //
      {11, 6, 7, 8, 9, 13, 13, 12},      //
      {10, 10, 11, 12, 13, 14, 14, 13},  //
      {9, 10, 11, 12, 13, 14, 15, 14},   //
      {8, 9, 10, 11, 12, 13, 14, 15},
  };

  static unsigned returnNumber(const PositionFields& fields) { return fields.returnByte & 7U; }
  static unsigned numberOfReturns(const PositionFields& fields) {
    return fields.returnByte >> 3 & 7U;
  }

  unsigned changesOf(const PositionFields& fields) const {
    const unsigned m = kReturnMap[numberOfReturns(fields)][returnNumber(fields)];
    return (fields.returnByte != last_.returnByte ? kReturnByte : 0U) |
           (fields.intensity != intensities_[m] ? kIntensity : 0U) |
           (fields.classification != last_.classification ? kClassification : 0U) |
           (fields.scanAngle != last_.scanAngle ? kScanAngle : 0U) |
           (fields.userData != last_.userData ? kUserData : 0U) |
           (fields.sourceId != last_.sourceId ? kSourceId : 0U);
  }

  [[gnu::always_inline]] void codeOthers(Coder& coder, unsigned changed, PositionFields& fields) {
    if ((changed & kClassification) != 0)
      fields.classification = static_cast<std::uint8_t>(
          coder.symbol(classifications_[last_.classification], fields.classification));
    if ((changed & kScanAngle) != 0) {
      auto& model = scanAngles_[fields.returnByte >> 6 & 1U];
      const unsigned difference = (fields.scanAngle - last_.scanAngle) & 0xFFU;
      fields.scanAngle =
          static_cast<std::uint8_t>(last_.scanAngle + coder.symbol(model, difference));
    }
    if ((changed & kUserData) != 0)
      fields.userData =
          static_cast<std::uint8_t>(coder.symbol(userData_[last_.userData], fields.userData));
    if ((changed & kSourceId) != 0)
      fields.sourceId =
          static_cast<std::uint16_t>(sourceId_.code(coder, 0, last_.sourceId, fields.sourceId));
  }

  [[gnu::always_inline]] void codeCoordinates(Coder& coder, unsigned m, PositionFields& fields) {
    const unsigned single = numberOfReturns(fields) == 1 ? 1 : 0;
    fields.x = codeStep(coder, x_, single, xSteps_[m], last_.x, fields.x);
    const unsigned xMagnitude = x_.magnitude();
    const unsigned yContext = single + (xMagnitude < 20 ? xMagnitude & ~1U : 20);
    fields.y = codeStep(coder, y_, yContext, ySteps_[m], last_.y, fields.y);
    const unsigned magnitude = (xMagnitude + y_.magnitude()) / 2;
    const unsigned zContext = single + (magnitude < 18 ? magnitude & ~1U : 18);
    std::uint32_t& height = heights_[static_cast<std::size_t>(std::abs(
        static_cast<int>(numberOfReturns(fields)) - static_cast<int>(returnNumber(fields))))];
    height = z_.code(coder, zContext, height, static_cast<std::uint32_t>(fields.z));
    fields.z = static_cast<std::int32_t>(height);
  }

  /// Codes a coordinate as its step from the point before, which is predicted by the median.
  template <class Integers>
  [[gnu::always_inline]] std::int32_t codeStep(Coder& coder, Integers& integers, unsigned context,
                                               RunningMedian& median, std::int32_t last,
                                               std::int32_t coordinate) {
    const auto before = static_cast<std::uint32_t>(last);
    const std::uint32_t step = integers.code(coder, context, median.value(),
                                             static_cast<std::uint32_t>(coordinate) - before);
    median.add(step);
    return static_cast<std::int32_t>(before + step);
  }

  PositionFields last_{};
  std::array<std::uint16_t, 16> intensities_{};
  std::array<RunningMedian, 16> xSteps_;
  std::array<RunningMedian, 16> ySteps_;
  std::array<std::uint32_t, 8> heights_{};
  typename Coder::template Model<64> changed_;
  typename Coder::ModelsOfBytes returnBytes_;
  typename Coder::ModelsOfBytes classifications_;
  typename Coder::ModelsOfBytes userData_;
  std::array<typename Coder::template Model<256>, 2> scanAngles_;
  IntegerCoder<Coder, 16, 4> intensity_;
  IntegerCoder<Coder, 16, 1> sourceId_;
  IntegerCoder<Coder, 32, 2> x_;
  IntegerCoder<Coder, 32, 22> y_;
  IntegerCoder<Coder, 32, 20> z_;
};

}  // namespace laz

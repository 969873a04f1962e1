// SPDX-License-Identifier: BSD-3-Clause
// Point records that reach the branches of a compressor, the same ones on every machine.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace test {

/// Makes records of point formats 0 to 3.
class RecordGenerator {
 public:
  /// Every combination of changed fields and of grey and other colours, differences of every
  /// magnitude, and every way of coding a time.
  void change() {
    const unsigned changed = draw(64);
    if ((changed & 32) != 0) fields_[14] = byte();
    if ((changed & 16) != 0) put(12, static_cast<std::uint16_t>(step(17)));
    for (const unsigned i : {15U, 16U, 17U})
      if ((changed >> (i - 15) & 1) != 0) fields_[i] = byte();
    if ((changed & 8) != 0) put(18, static_cast<std::uint16_t>(step(17)));
    for (const unsigned i : {0U, 4U, 8U}) put(i, get<std::uint32_t>(i) + step(33));
    changeTime();
    changeColour();
  }

  /// A point of a regular grid with steady time.
  void advance() {
    put(0, get<std::uint32_t>(0) + 10);
    put(20, get<std::uint64_t>(20) + 1000);
  }

  /// Appends the record in a point format.
  void appendTo(std::vector<std::uint8_t>& records, int format) const {
    const std::uint8_t* const begin = fields_.data();
    records.insert(records.end(), begin, begin + 20);
    if ((format & 1) != 0) records.insert(records.end(), begin + 20, begin + 28);
    if ((format & 2) != 0) records.insert(records.end(), begin + 28, begin + 34);
  }

 private:
  unsigned draw(unsigned count) { return static_cast<unsigned>(random_() % count); }
  std::uint8_t byte() { return static_cast<std::uint8_t>(random_()); }

  /// A number of either sign with 0 to `bits` - 1 bits, at times the lowest one of 32 bits.
  std::uint32_t step(unsigned bits) {
    if (draw(64) == 0) return 0x80000000;
    const unsigned used = draw(bits);
    const auto value = used == 0 ? 0 : static_cast<std::uint32_t>(random_()) >> (32 - used);
    return draw(2) == 0 ? value : 0 - value;
  }

  void changeTime() {
    static constexpr std::uint64_t kNotANumber = 0x7FF8000000000001;
    std::uint64_t& time = times_[draw(16) == 0 ? draw(6) : newest_];
    newest_ = static_cast<unsigned>(&time - times_.data());
    switch (draw(8)) {
      case 0:
        break;  // the same time
      case 1:
        time += std::uint64_t{1000} * (draw(12) + 1) + draw(3);
        break;
      case 2:
        time += std::uint64_t{1000} * draw(800);
        break;
      case 3:
        time -= std::uint64_t{1000} * draw(15);
        break;
      case 4:
        time += draw(500);
        break;
      case 5:
        time += static_cast<std::uint64_t>(static_cast<std::int32_t>(step(33)));
        break;
      case 6:
        if (draw(8) == 0) time = static_cast<std::uint64_t>(random_()) << 32 | random_();
        break;
      default:
        if (draw(8) == 0) time = kNotANumber + draw(2);
    }
    put(20, time);
  }

  void changeColour() {
    std::array<std::uint16_t, 3> colour{};
    std::memcpy(colour.data(), &fields_[28], sizeof(colour));
    for (std::uint16_t& part : colour)
      if (draw(2) == 0) part = static_cast<std::uint16_t>(part + step(draw(2) == 0 ? 9 : 17));
    if (draw(4) == 0) colour[1] = colour[2] = colour[0];
    std::memcpy(&fields_[28], colour.data(), sizeof(colour));
  }

  template <class Number>
  Number get(std::size_t offset) const {
    Number value;
    std::memcpy(&value, &fields_[offset], sizeof(value));
    return value;
  }
  template <class Number>
  void put(std::size_t offset, Number value) {
    std::memcpy(&fields_[offset], &value, sizeof(value));
  }

  std::mt19937 random_;
  std::array<std::uint8_t, 34> fields_ = {};
  std::array<std::uint64_t, 6> times_ = {0, 1ULL << 40, 1ULL << 41, 1ULL << 50, 1ULL << 62, 7};
  unsigned newest_ = 0;
};

/// `count` records in a point format: those of change(), or regular ones.
inline std::vector<std::uint8_t> generatedRecords(std::size_t count, int format, bool regular) {
  std::vector<std::uint8_t> records;
  RecordGenerator generator;
  for (std::size_t i = 0; i < count; ++i) {
    regular ? generator.advance() : generator.change();
    generator.appendTo(records, format);
  }
  return records;
}

}  // namespace test

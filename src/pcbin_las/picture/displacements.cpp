// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/displacements.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

namespace picture {
namespace {

constexpr double kTile = 10;  // metres
constexpr int kWidth = 4;     // tiles of a square, each way

std::uint64_t keyOf(std::int64_t column, std::int64_t row) {
  return static_cast<std::uint64_t>(column) << 32 | static_cast<std::uint32_t>(row);
}

}  // namespace

void Displacements::add(std::span<const MapPoint> before, std::span<const MapPoint> after) {
  constexpr double kLargest = 1e9;                          // tiles from the origin
  constexpr std::size_t kMostTiles = std::size_t{1} << 20;  // bounds the memory
  for (std::size_t i = 0; i < after.size(); ++i) {
    const auto [x, y, z] = after[i].position;
    const double distance = std::hypot(x - before[i].position[0], y - before[i].position[1]);
    if (!(std::isfinite(distance) && std::max(std::abs(x), std::abs(y)) < kLargest * kTile))
      continue;
    const std::uint64_t key = keyOf(static_cast<std::int64_t>(std::floor(x / kTile)),
                                    static_cast<std::int64_t>(std::floor(y / kTile)));
    const auto tile = tiles_.size() < kMostTiles ? tiles_.try_emplace(key).first : tiles_.find(key);
    if (tile == tiles_.end()) continue;
    tile->second.distance += distance;
    ++tile->second.points;
  }
}

std::optional<Area> Displacements::greatest() const {
  using Place = std::tuple<double, std::uint64_t, int, int>;  // in the order of preference
  std::vector<Place> places;
  std::uint64_t most = 0;
  for (const auto& [key, ignored] : tiles_) {
    const int left = static_cast<std::int32_t>(key >> 32) - 1;  // one tile before, two after
    const int bottom = static_cast<std::int32_t>(key) - 1;
    Sum sum;
    for (int i = 0; i < kWidth * kWidth; ++i) {
      const auto tile = tiles_.find(keyOf(left + i % kWidth, bottom + i / kWidth));
      if (tile == tiles_.end()) continue;
      sum.distance += tile->second.distance;
      sum.points += tile->second.points;
    }
    most = std::max(most, sum.points);
    places.emplace_back(sum.distance / static_cast<double>(sum.points), sum.points, left, bottom);
  }
  std::erase_if(places, [most](const Place& place) { return std::get<1>(place) * 3 < most; });
  if (places.empty()) return std::nullopt;
  const auto [distance, points, left, bottom] = *std::ranges::max_element(places);
  constexpr double kHalf = kWidth / 2.0;
  return Area{(left + kHalf) * kTile, (bottom + kHalf) * kTile, kWidth * kTile};
}

}  // namespace picture

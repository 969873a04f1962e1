// SPDX-License-Identifier: BSD-3-Clause
// Pictures of a map before and after its points were moved.
#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>
#include <unordered_map>

#include "pcbin_las/picture/map_drawing.h"
#include "pcbin_las/picture/png_file.h"
#include "pcbin_las/platform/trace_macros.h"

namespace picture {
namespace {

/// How far the points moved to the side, by place.
class Displacements {
 public:
  void add(std::span<const MovedPoint> points) {
    for (const auto& [before, after, colour] : points) {
      const double distance = std::hypot(after[0] - before[0], after[1] - before[1]);
      const double column = std::floor(after[0] / kTile);
      const double row = std::floor(after[1] / kTile);
      if (!(std::isfinite(distance) && std::abs(column) < kLargest && std::abs(row) < kLargest))
        continue;
      const Tile tile = {static_cast<std::int32_t>(column), static_cast<std::int32_t>(row)};
      auto found = sums_.find(key(tile));
      if (found == sums_.end()) {
        if (sums_.size() == kMostTiles) continue;
        found = sums_.try_emplace(key(tile)).first;
      }
      found->second.distance += distance;
      ++found->second.points;
    }
  }

  /// The square of four by four tiles with the greatest mean distance among those with at least a
  /// third of the points of the densest one. Nothing without points.
  std::optional<Area> greatest() const {
    std::vector<std::pair<Tile, Sum>> places;
    std::uint64_t most = 0;
    for (const auto& [tileKey, sum] : sums_) {
      const Tile tile = {static_cast<std::int32_t>(tileKey >> 32),
                         static_cast<std::int32_t>(tileKey)};
      places.emplace_back(tile, around(tile));
      most = std::max(most, places.back().second.points);
    }
    std::erase_if(places, [most](const auto& place) { return place.second.points * 3 < most; });
    const auto greatest = std::ranges::max_element(places, {}, [](const auto& place) {
      const auto& [tile, sum] = place;
      return std::tuple(sum.distance / static_cast<double>(sum.points), sum.points, tile.column,
                        tile.row);  // the last two: the same result for any order
    });
    if (greatest == places.end()) return std::nullopt;
    const auto [column, row] = greatest->first;
    return Area{(column + 1.0) * kTile, (row + 1.0) * kTile, 4 * kTile};
  }

 private:
  struct Tile {
    std::int32_t column;
    std::int32_t row;
  };
  struct Sum {
    double distance = 0;
    std::uint64_t points = 0;
  };

  static std::uint64_t key(const Tile& tile) {
    return std::uint64_t{static_cast<std::uint32_t>(tile.column)} << 32 |
           static_cast<std::uint32_t>(tile.row);
  }

  /// The sum over the square whose centre is the lower left corner of the tile's right neighbour
  /// above: the tile, one before and two after it in each direction.
  Sum around(const Tile& tile) const {
    Sum sum;
    for (int column = -1; column <= 2; ++column) {
      for (int row = -1; row <= 2; ++row) {
        const auto found = sums_.find(key({tile.column + column, tile.row + row}));
        if (found == sums_.end()) continue;
        sum.distance += found->second.distance;
        sum.points += found->second.points;
      }
    }
    return sum;
  }

  static constexpr double kTile = 10;                              ///< metres
  static constexpr double kLargest = 1e9;                          ///< tiles from the origin
  static constexpr std::size_t kMostTiles = std::size_t{1} << 20;  ///< bounds the memory
  std::unordered_map<std::uint64_t, Sum> sums_;
};

/// Converts a batch of moved points to points before or after.
std::vector<MapPoint> half(std::span<const MovedPoint> points, Position MovedPoint::*position) {
  std::vector<MapPoint> result;
  result.reserve(points.size());
  for (const MovedPoint& point : points) result.push_back({point.*position, point.colour});
  return result;
}

bool compare(const PassMovedPoints& pass, const std::string& name, const pontra::MapSystem& system,
             const std::string& pngPath, Request request) {
  if (!request.zoom) {
    Displacements displacements;
    if (!pass([&](std::span<const MovedPoint> points) { displacements.add(points); })) return false;
    request.zoom = displacements.greatest();
  }
  MapSample sample(request.zoom, request.slice);
  std::uint64_t total = 0;
  if (!pass([&](std::span<const MovedPoint> points) {
        total += points.size();
        sample.add(half(points, &MovedPoint::after));
      }))
    return false;
  const PageLayout layout(request, 2);
  const auto view = makeView(sample, sample.points(), sample.bounds(), request, layout, name);
  if (!view) return false;
  MapRaster before(*view, false);
  MapRaster after(*view, false);
  if (!pass([&](std::span<const MovedPoint> points) {
        before.add(half(points, &MovedPoint::before));
        after.add(half(points, &MovedPoint::after));
      }))
    return false;
  const Panel panels[] = {{&before, drawMap(before), "without the optimised poses"},
                          {&after, drawMap(after), "with the optimised poses"}};
  const Caption caption = {.name = name,
                           .total = total,
                           .system = system,
                           .showsHeights = after.colourBits() == 0,
                           .zoomed = true};
  return writePng(drawPage(layout, panels, caption), pngPath);
}

}  // namespace

bool drawComparison(const PassMovedPoints& pass, const std::string& name,
                    const pontra::MapSystem& system, const std::string& pngPath,
                    const Request& request) {
  return guarded(pngPath, request, [&] { return compare(pass, name, system, pngPath, request); });
}

}  // namespace picture

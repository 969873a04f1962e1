// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_view.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace picture {
namespace {

constexpr double kShortestGap = 0.5;  // metres between points that may be far from each other

/// Includes those of `outer` that are at most 5 % of the size away.
Range extended(const Range& range, const Range& outer) {
  const double near = range.size() * 0.05;
  Range result = range;
  if (outer.low < range.low && outer.low >= range.low - near) result.low = outer.low;
  if (outer.high > range.high && outer.high <= range.high + near) result.high = outer.high;
  return result;
}

std::vector<double> coordinates(const std::vector<Position>& positions, std::size_t axis) {
  std::vector<double> values;
  values.reserve(positions.size());
  for (const Position& position : positions) values.push_back(position[axis]);
  return values;
}

/// The range of the map along an axis, with a small margin.
Range wholeRange(const std::vector<Position>& positions, std::size_t axis, const Range& bounds) {
  const Range range = extended(robustRange(coordinates(positions, axis)), bounds);
  const double margin = range.size() > 0 ? range.size() * 0.015 : 0.5;
  return {range.low - margin, range.high + margin};
}

/// Widens the range, on both sides, to at least `size`.
void widen(Range& range, double size) {
  const double missing = std::max(size - range.size(), 0.0);
  range = {range.low - missing / 2, range.high + missing / 2};
}

/// The heights of the positions without the outermost 0.1 % at each end.
Range heightRange(const std::vector<Position>& positions) {
  std::vector<double> values = coordinates(positions, 2);
  std::ranges::sort(values);
  const std::size_t trim = values.size() < 50 ? 0 : std::max<std::size_t>(values.size() / 1000, 1);
  return {values[trim], values[values.size() - 1 - trim]};
}

/// The part of an area around the positions: that of the tiles with positions, when there are about
/// kTilePoints in each.
double filledArea(const std::vector<Position>& positions, const MapView& view) {
  constexpr double kTilePoints = 12;
  constexpr int kRounds = 3;
  std::vector<std::uint64_t> tiles(positions.size());
  double area = view.x().size() * view.y().size();
  for (int round = 0; round < kRounds; ++round) {
    const double tile = std::sqrt(area * kTilePoints / static_cast<double>(positions.size()));
    std::ranges::transform(positions, tiles.begin(), [&](const Position& p) {
      const auto index = [tile](double distance) {
        return static_cast<std::uint64_t>(std::clamp(distance / tile, 0.0, 1e9));
      };
      return index(p[0] - view.left) << 32 | index(view.top - p[1]);
    });
    std::ranges::sort(tiles);
    const auto filled = std::unique(tiles.begin(), tiles.end()) - tiles.begin();
    area = std::min(area, static_cast<double>(filled) * tile * tile);
  }
  return area;
}

/// Sets the heights and the cells of a view.
void chooseCells(MapView& view, const std::vector<Position>& positions, std::uint64_t points,
                 double smallestCell) {
  constexpr double kCellsPerSpacing = 1.2;
  constexpr int kFewestCells = 60;       // on the longer side
  constexpr double kSmallHeight = 0.15;  // metres
  std::vector<Position> shown;
  std::ranges::copy_if(positions, std::back_inserter(shown), [&](const Position& p) {
    return view.x().contains(p[0]) && view.y().contains(p[1]);
  });
  if (shown.empty()) shown = positions;
  view.heights = heightRange(shown);
  const double pointsPerPosition =
      static_cast<double>(points) / static_cast<double>(positions.size());
  const double spacing =
      std::sqrt(filledArea(shown, view) / (pointsPerPosition * static_cast<double>(shown.size())));
  const double longest = view.pixelSize * std::max(view.width, view.height);
  view.cellSize = std::clamp(spacing * kCellsPerSpacing, smallestCell,
                             std::max(longest / kFewestCells, smallestCell));
  const auto cells = [&](int pixels) {
    constexpr double kRounding = 1e-9;
    return static_cast<int>(std::ceil(pixels * view.pixelSize / view.cellSize - kRounding)) +
           2 * MapView::kBorder;
  };
  view.columns = cells(view.width);
  view.rows = cells(view.height);
  view.smallHeight = std::max(kSmallHeight, view.cellSize / 2);
}

}  // namespace

Range robustRange(std::vector<double> values) {
  std::ranges::sort(values);
  const std::size_t count = values.size();
  std::size_t first = count / 10;
  std::size_t last = count - 1 - first;
  const auto size = [&] { return std::max(values[last] - values[first], 2 * kShortestGap); };
  const auto belongs = [&](double gap, std::size_t beyond) {
    return gap <= size() / 2 || (beyond > count / 100 && gap <= 10 * size());
  };
  for (bool grown = true; grown;) {
    grown = false;
    for (; first > 0 && belongs(values[first] - values[first - 1], first); --first) grown = true;
    for (; last + 1 < count && belongs(values[last + 1] - values[last], count - 1 - last); ++last)
      grown = true;
  }
  const std::size_t trim = count / 2000;
  const double low = values[std::max(first, trim)];
  const double high = values[std::min(last, count - 1 - trim)];
  const double near = (high - low) * 0.05;
  return {std::max(*std::ranges::lower_bound(values, low - near), values[first]),
          std::min(*std::prev(std::ranges::upper_bound(values, high + near)), values[last])};
}

MapSample::MapSample(const std::optional<Area>& zoom, const std::optional<Slice>& slice) {
  if (zoom) {
    x_ = {zoom->x - zoom->width / 2, zoom->x + zoom->width / 2};
    y_ = {zoom->y - zoom->width / 2, zoom->y + zoom->width / 2};
  }
  if (slice) z_ = {slice->low, slice->high};
}

void MapSample::add(std::span<const MapPoint> points) {
  for (const MapPoint& point : points) {
    for (const std::uint16_t channel : point.colour) colourBits_ |= channel;
    const auto [x, y, z] = point.position;
    extent_[0].include(x);
    extent_[1].include(y);
    if (!x_.contains(x) || !y_.contains(y)) continue;
    for (std::size_t axis = 0; axis < 3; ++axis) bounds_[axis].include(point.position[axis]);
    if (!z_.contains(z) || points_++ % every_ != 0) continue;
    positions_.push_back(point.position);
    if (positions_.size() < kMostPositions) continue;
    for (std::size_t i = 0; i < kMostPositions / 2; ++i) positions_[i] = positions_[2 * i];
    positions_.resize(kMostPositions / 2);
    every_ *= 2;
  }
}

MapView chooseView(const MapSample& sample, std::uint64_t points,
                   const std::array<Range, 3>& bounds, const std::optional<Area>& zoom,
                   const Frame& frame) {
  Range x;
  Range y;
  if (zoom) {
    x = {zoom->x - zoom->width / 2, zoom->x + zoom->width / 2};
    y = {zoom->y - zoom->width / 2, zoom->y + zoom->width / 2};
  } else {
    x = wholeRange(sample.positions(), 0, bounds[0]);
    y = wholeRange(sample.positions(), 1, bounds[1]);
    widen(x, y.size() * 0.45);  // the text below the map needs the width
    widen(y, x.size() * 0.125);
  }
  MapView view{.left = x.low, .top = y.high};
  view.pixelSize = std::max(x.size() / frame.width, y.size() / frame.height);
  if (!(std::isfinite(view.left) && std::isfinite(view.top) && std::isfinite(view.pixelSize) &&
        view.left + view.pixelSize > view.left && view.top + view.pixelSize > view.top))
    return {};
  view.width = std::clamp(static_cast<int>(std::lround(x.size() / view.pixelSize)), 1, frame.width);
  view.height =
      std::clamp(static_cast<int>(std::lround(y.size() / view.pixelSize)), 1, frame.height);
  chooseCells(view, sample.positions(), points, view.pixelSize / frame.cellsPerPixel);
  return std::isfinite(view.heights.size()) ? view : MapView{};
}

}  // namespace picture

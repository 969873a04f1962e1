// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_view.h"

#include <cmath>
#include <iterator>

namespace picture {
namespace {

constexpr double kNear = 0.5;  // of the range: values further out may be far away

std::vector<double> coordinates(const std::vector<Position>& positions, std::size_t axis) {
  std::vector<double> values;
  values.reserve(positions.size());
  for (const Position& position : positions) values.push_back(position[axis]);
  return values;
}

/// The range of the map along an axis, with a small margin. It includes bounds that are not far
/// away.
Range wholeRange(const std::vector<Position>& positions, std::size_t axis, const Range& bounds) {
  Range range = robustRange(coordinates(positions, axis));
  const double distance = range.size() * kNear;
  const Range near = {range.low - distance, range.high + distance};
  for (const double bound : {bounds.low, bounds.high})
    if (near.contains(bound)) range.include(bound);
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
void chooseCells(MapView& view, const std::vector<Position>& positions, std::uint64_t count,
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
  const double points = static_cast<double>(count) * static_cast<double>(shown.size()) /
                        static_cast<double>(positions.size());
  const double largestCell = view.pixelSize * std::max(view.width, view.height) / kFewestCells;
  view.cellSize = std::clamp(std::sqrt(filledArea(shown, view) / points) * kCellsPerSpacing,
                             smallestCell, std::max(largestCell, smallestCell));
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
  constexpr double kShortest = 1;  // metres: gaps within half of it are none
  std::ranges::sort(values);
  const std::size_t count = values.size();
  std::size_t first = count / 10;
  std::size_t last = count - 1 - first;
  const auto belongs = [&](double gap, std::size_t beyond) {
    const double size = std::max(values[last] - values[first], kShortest);
    return gap <= size / 2 || (beyond > count / 100 && gap <= 10 * size);
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
  const double near = (high - low) * kNear;
  return {std::max(*std::ranges::lower_bound(values, low - near), values[first]),
          std::min(*std::prev(std::ranges::upper_bound(values, high + near)), values[last])};
}

MapSample makeSample(const Request& request) {
  if (!request.zoom) return {.slice = request.slice};
  const auto [x, y, width] = *request.zoom;
  return {.x = {x - width / 2, x + width / 2},
          .y = {y - width / 2, y + width / 2},
          .slice = request.slice};
}

void MapSample::add(std::span<const MapPoint> points) {
  constexpr std::size_t kMostPositions = std::size_t{1} << 16;
  for (const auto& [position, colour] : points) {
    colourBits |= static_cast<unsigned>(colour[0] | colour[1] | colour[2]);
    bounds[0].include(position[0]);
    bounds[1].include(position[1]);
    if (!x.contains(position[0]) || !y.contains(position[1])) continue;
    bounds[2].include(position[2]);
    if (!slice.contains(position[2]) || count++ % every != 0) continue;
    positions.push_back(position);
    if (positions.size() < kMostPositions) continue;
    for (std::size_t i = 0; i < kMostPositions / 2; ++i) positions[i] = positions[2 * i];
    positions.resize(kMostPositions / 2);
    every *= 2;
  }
}

MapView chooseView(const MapSample& sample, std::uint64_t count, const std::array<Range, 3>& bounds,
                   const Request& request, const Frame& frame) {
  Range x = sample.x;
  Range y = sample.y;
  if (!request.zoom) {
    std::vector<Position> near = sample.positions;
    for (std::size_t axis : {0, 1, 0}) {
      Range& range = axis == 0 ? x : y;
      range = wholeRange(near, axis, bounds[axis]);
      std::erase_if(near, [&](const Position& p) { return !range.contains(p[axis]); });
    }
    widen(x, y.size() * 0.45);  // the text below the map needs the width
    widen(y, x.size() * 0.125);
  }
  MapView view{.left = x.low, .top = y.high, .slice = request.slice};
  view.pixelSize = std::max(x.size() / frame.width, y.size() / frame.height);
  if (!(std::isfinite(view.left) && std::isfinite(view.top) && std::isfinite(view.pixelSize) &&
        view.left + view.pixelSize > view.left && view.top + view.pixelSize > view.top))
    return {};
  const auto pixels = [&view](const Range& range, int most) {
    return std::clamp(static_cast<int>(std::lround(range.size() / view.pixelSize)), 1, most);
  };
  view.width = pixels(x, frame.width);
  view.height = pixels(y, frame.height);
  chooseCells(view, sample.positions, count, view.pixelSize / frame.cellsPerPixel);
  return std::isfinite(view.heights.size()) ? view : MapView{};
}

}  // namespace picture

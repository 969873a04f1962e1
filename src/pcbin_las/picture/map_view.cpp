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

std::vector<double> coordinates(const Sample& sample, std::size_t axis) {
  std::vector<double> values;
  values.reserve(sample.positions.size());
  for (const Position& position : sample.positions) values.push_back(position[axis]);
  return values;
}

/// The range of the map along an axis, with a small margin.
Range wholeRange(const Sample& sample, std::size_t axis, const Range& bounds) {
  const Range range = extended(robustRange(coordinates(sample, axis)), bounds);
  const double margin = range.size() > 0 ? range.size() * 0.015 : 0.5;
  return {range.low - margin, range.high + margin};
}

/// Widens the range, on both sides, to at least `size`.
void widen(Range& range, double size) {
  const double missing = std::max(size - range.size(), 0.0);
  range = {range.low - missing / 2, range.high + missing / 2};
}

/// The heights of the sample without the outermost 0.1 % at each end.
Range heightRange(const Sample& sample) {
  std::vector<double> values = coordinates(sample, 2);
  std::ranges::sort(values);
  const std::size_t trim = values.size() < 50 ? 0 : std::max<std::size_t>(values.size() / 1000, 1);
  return {values[trim], values[values.size() - 1 - trim]};
}

/// The mean distance between neighbouring points, over the area that has points: that of the tiles
/// with points, when there are about kTilePoints in each.
double meanSpacing(const Sample& sample, const Range& x, const Range& y) {
  constexpr double kTilePoints = 12;
  constexpr int kRounds = 3;
  std::vector<std::uint64_t> tiles(sample.positions.size());
  const auto size = static_cast<double>(sample.positions.size());
  double area = x.size() * y.size();
  for (int round = 0; round < kRounds; ++round) {
    const double tile = std::sqrt(area * kTilePoints / size);
    const auto index = [tile](double value, const Range& range) {
      return static_cast<std::uint64_t>(std::clamp((value - range.low) / tile, 0.0, 1e9));
    };
    std::ranges::transform(sample.positions, tiles.begin(), [&](const Position& p) {
      return index(p[0], x) << 32 | index(p[1], y);
    });
    std::ranges::sort(tiles);
    const auto filled = std::unique(tiles.begin(), tiles.end()) - tiles.begin();
    area = std::min(area, static_cast<double>(filled) * tile * tile);
  }
  return std::sqrt(area / static_cast<double>(sample.points));
}

/// The part of the sample in a rectangle; the whole sample if there is none.
Sample within(const Sample& sample, const Range& x, const Range& y) {
  Sample part;
  std::ranges::copy_if(sample.positions, std::back_inserter(part.positions), [&](const Position& p) {
    return x.contains(p[0]) && y.contains(p[1]);
  });
  if (part.positions.empty()) return sample;
  part.points = sample.points * part.positions.size() / sample.positions.size();
  return part;
}

/// Sets the size of the cells by the spacing of the points.
void chooseCells(MapView& view, double spacing) {
  constexpr double kCellsPerSpacing = 1.2;
  constexpr int kFewestCells = 60;  // on the longer side
  const double longest = view.pixelSize * std::max(view.width, view.height);
  const double largest = std::max(longest / kFewestCells, view.pixelSize);
  view.cellSize = std::clamp(spacing * kCellsPerSpacing, view.pixelSize, largest);
  const double perPixel = view.pixelSize / view.cellSize;
  view.columns = static_cast<int>(std::ceil(view.width * perPixel - 1e-9));
  view.rows = static_cast<int>(std::ceil(view.height * perPixel - 1e-9));
  view.smallHeight = std::max(0.15, view.cellSize / 2);
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

MapView chooseView(const Sample& sample, const std::optional<Area>& zoom, int maxWidth,
                   int maxHeight) {
  Range x;
  Range y;
  if (zoom) {
    x = {zoom->x - zoom->width / 2, zoom->x + zoom->width / 2};
    y = {zoom->y - zoom->width / 2, zoom->y + zoom->width / 2};
  } else {
    x = wholeRange(sample, 0, sample.boundsX);
    y = wholeRange(sample, 1, sample.boundsY);
    widen(x, y.size() * 0.45);  // the text below the map needs the width
    widen(y, x.size() * 0.125);
  }
  const Sample shown = within(sample, x, y);
  MapView view{.left = x.low, .top = y.high, .heights = heightRange(shown)};
  view.pixelSize = std::max(x.size() / maxWidth, y.size() / maxHeight);
  if (!(std::isfinite(view.left) && std::isfinite(view.top) && std::isfinite(view.pixelSize) &&
        std::isfinite(view.heights.size()) && view.left + view.pixelSize > view.left &&
        view.top + view.pixelSize > view.top))
    return {};
  view.width = std::clamp(static_cast<int>(std::lround(x.size() / view.pixelSize)), 1, maxWidth);
  view.height = std::clamp(static_cast<int>(std::lround(y.size() / view.pixelSize)), 1, maxHeight);
  chooseCells(view, meanSpacing(shown, x, y));
  return view;
}

}  // namespace picture

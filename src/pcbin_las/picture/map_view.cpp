// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/map_view.h"

#include <algorithm>
#include <cmath>

namespace picture {
namespace {

/// The range of the map along an axis, with a small margin.
Range wholeRange(const LasInput& input, const std::vector<Position>& positions, std::size_t axis) {
  std::vector<double> values;
  values.reserve(positions.size());
  for (const Position& position : positions) values.push_back(position[axis]);
  Range range = robustRange(values);
  if (positions.size() < input.count()) range.include(input.headerBounds(axis));
  const double margin = range.size() > 0 ? range.size() * 0.015 : 0.5;
  return {range.low - margin, range.high + margin};
}

/// Widens the range, on both sides, to at least `size`.
void widen(Range& range, double size) {
  const double missing = std::max(size - range.size(), 0.0);
  range = {range.low - missing / 2, range.high + missing / 2};
}

/// The range of heights, without outliers, of the points within x and y; of all points if there are
/// none.
Range heightRange(const std::vector<Position>& positions, const Range& x, const Range& y) {
  std::vector<double> values;
  for (const Position& p : positions) {
    if (p[0] >= x.low && p[0] <= x.high && p[1] >= y.low && p[1] <= y.high) values.push_back(p[2]);
  }
  if (values.empty()) {
    for (const Position& p : positions) values.push_back(p[2]);
  }
  std::ranges::sort(values);
  const std::size_t trim = values.size() < 50 ? 0 : std::max<std::size_t>(values.size() / 1000, 1);
  return {values[trim], values[values.size() - 1 - trim]};
}

}  // namespace

Range robustRange(std::vector<double>& values) {
  std::ranges::sort(values);
  const std::size_t most =
      values.size() / 2000;  // points of a large map that may be dropped at each end
  const std::size_t trim = values.size() < 50 ? 0 : std::max<std::size_t>(values.size() / 100, 1);
  std::size_t first = trim;
  std::size_t last = values.size() - 1 - trim;
  const auto size = [&] { return values[last] - values[first]; };
  for (bool grown = true; grown;) {
    grown = false;
    for (; first > most && values[first] - values[first - 1] <= size() / 2; --first) grown = true;
    for (; last + 1 + most < values.size() && values[last + 1] - values[last] <= size() / 2; ++last)
      grown = true;
  }
  const double near = size() * 0.05;
  return {*std::ranges::lower_bound(values, values[first] - near),
          *std::prev(std::ranges::upper_bound(values, values[last] + near))};
}

void Range::include(const Range& outer) {
  const double near = size() * 0.05;
  if (outer.low < low && outer.low >= low - near) low = outer.low;
  if (outer.high > high && outer.high <= high + near) high = outer.high;
}

MapView chooseView(const LasInput& input, const std::vector<Position>& positions,
                   const std::optional<Area>& zoom, int maxWidth, int maxHeight) {
  Range x;
  Range y;
  if (zoom) {
    x = {zoom->x - zoom->width / 2, zoom->x + zoom->width / 2};
    y = {zoom->y - zoom->width / 2, zoom->y + zoom->width / 2};
  } else {
    x = wholeRange(input, positions, 0);
    y = wholeRange(input, positions, 1);
    widen(x, y.size() * 0.45);  // the text below the map needs the width
    widen(y, x.size() * 0.125);
  }
  MapView view{.left = x.low, .top = y.high, .heights = heightRange(positions, x, y)};
  view.pixelSize = std::max(x.size() / maxWidth, y.size() / maxHeight);
  if (!(std::isfinite(view.left) && std::isfinite(view.top) && std::isfinite(view.pixelSize) &&
        std::isfinite(view.heights.size()) && view.pixelSize > 0))
    return {};
  view.width = std::clamp(static_cast<int>(std::lround(x.size() / view.pixelSize)), 1, maxWidth);
  view.height = std::clamp(static_cast<int>(std::lround(y.size() / view.pixelSize)), 1, maxHeight);
  return view;
}

}  // namespace picture

// SPDX-License-Identifier: BSD-3-Clause
// What a picture is made of: the range of its points, the colours of a cell, the text of its
// margin.
#include "pcbin_las/picture/page.h"

#include <numeric>

#include <gmock/gmock.h>

#include "pcbin_las/picture/map_view.h"

namespace {

using picture::MapPoint;

TEST(RobustRange, LeavesOutFewValuesFarAway) {
  const auto range = [](int count, const std::vector<double>& more) {
    std::vector<double> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), 0);
    values.insert(values.end(), more.begin(), more.end());
    const picture::Range found = picture::robustRange(values);
    return std::pair(found.low, found.high);
  };
  const std::pair whole(0.0, 9999.0);
  EXPECT_EQ(range(10'000, {}), whole);
  EXPECT_EQ(range(10'000, {-1e7, 1e7, 2e7, 3e7}), whole);
  EXPECT_EQ(range(10'000, {-4'900, 14'900}), std::pair(-4'900.0, 14'900.0));  // near
  EXPECT_EQ(range(10'000, std::vector<double>(100, 30'000)), whole);          // 1 %
  EXPECT_EQ(range(10'000, std::vector<double>(500, 30'000)), std::pair(0.0, 30'000.0));
  EXPECT_EQ(range(10'000, std::vector<double>(500, 1e6)), whole);
  EXPECT_EQ(range(10, {1e5}), std::pair(0.0, 9.0));
  EXPECT_EQ(range(10, {-1e5}), std::pair(0.0, 9.0));
  EXPECT_EQ(range(10, {80}), std::pair(0.0, 80.0));
  EXPECT_EQ(range(8, {1e5}), std::pair(0.0, 1e5));
}

TEST(Page, NamesWhatIsLeftOutAndWhy) {
  picture::MapView view = {.left = 0,
                           .top = 100,
                           .pixelSize = 1,
                           .width = 100,
                           .height = 100,
                           .cellSize = 1,
                           .columns = 116,
                           .rows = 116};
  const auto countsOf = [&view](const std::vector<MapPoint>& points) {
    picture::MapRaster raster(view, false);
    raster.add(points);
    return raster.counts();
  };
  const auto described = [&](const std::vector<MapPoint>& points, bool zoomed) {
    return picture::describeLeftOut(countsOf(points), zoomed);
  };
  const MapPoint inside = {{50, 50, 5}, {}};
  std::vector<MapPoint> points(1'318, {{7000, -3, 5}, {}});
  points.push_back(inside);
  EXPECT_EQ(described({inside}, false), "");
  EXPECT_EQ(described({inside, points[0]}, false), "1 point far away is not shown: x 7000, y -3");
  points[7].position = {102, 9000, 5};
  EXPECT_EQ(described(points, false),
            "1,318 points far away are not shown: x 102 to 7000, y -3 to 9000");
  EXPECT_EQ(described(points, true), "1,318 points outside the square");
  view.slice = {1, 2.5};
  const auto counts = countsOf({inside, inside, {{0, 0, 0.9}, {}}, {{1, 1, 2.5}, {}}});
  EXPECT_EQ(picture::describeSlice(counts, view.slice),
            "only z 1 to 2.5: 2 points above and 1 point below are not shown");
}

TEST(Layer, KeepsTheMeanColourOfAnyNumberOfPoints) {
  picture::Layer layer;
  for (int i = 0; i < 10'000; ++i) layer.add({40, 1, {255, 8, 100}});
  picture::Layer twice = layer;
  twice.add(layer);
  for (const auto& [height, count, sums] : {layer, twice}) {
    EXPECT_EQ(sums[0], 255 * count);
    EXPECT_EQ(sums[1], 8 * count);
    EXPECT_EQ(sums[2], 100 * count);
  }
}

TEST(Page, UsesRoundLengths) {
  EXPECT_DOUBLE_EQ(picture::roundLength(0.0351), 0.02);
  EXPECT_DOUBLE_EQ(picture::roundLength(99), 50);
  EXPECT_DOUBLE_EQ(picture::roundLength(100), 100);
}

TEST(Text, HasTheLettersOfLatin1) {
  const auto rows = [](std::string_view utf8) {
    picture::Canvas canvas(12, 14, {0, 0, 0});
    canvas.write(0, 4, picture::toText(utf8), 1, {1, 1, 1});
    std::string text;
    for (std::size_t i = 0; i < canvas.pixels().size(); ++i) {
      text += canvas.pixels()[i][0] == 1 ? '#' : '.';
      if (i % 12 == 11) text += '\n';
    }
    return text;
  };
  EXPECT_EQ(rows("\u00c4\u00ef"),
            "............\n.#.#........\n............\n............\n"
            ".###...#.#..\n#...#.......\n#...#..##...\n#...#...#...\n"
            "#####...#...\n#...#...#...\n#...#..###..\n............\n"
            "............\n............\n");
  EXPECT_EQ(rows("A\u0308i\u0308"), rows("\u00c4\u00ef"));  // combining marks
  EXPECT_EQ(rows("\xc4\xef"), rows("\u00c4\u00ef"));        // Latin-1, not UTF-8
  const picture::Text unknown = picture::toText("?");
  for (char32_t letter = 0xc0; letter <= 0xff; ++letter) {
    const std::string utf8 = {static_cast<char>(0xc3), static_cast<char>(letter - 0x40)};
    EXPECT_NE(picture::toText(utf8), unknown) << utf8;
  }
  EXPECT_EQ(picture::toText("\u0416\n\U0001f600").size(), 3U);
  EXPECT_EQ(picture::toText("\u0416\n"), picture::toText("??"));
}

}  // namespace

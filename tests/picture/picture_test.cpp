// SPDX-License-Identifier: BSD-3-Clause
// Pictures of maps, checked pixel by pixel against drawings in letters.
#include "pcbin_las/picture/picture.h"

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <png.h>

#include "pcbin_las/picture/canvas.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using picture::Colour;
using picture::MapPoint;
using picture::Request;
using test::Bytes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// A picture of 244 pixels of the square from (1000, 2000) to (1060, 2060): a margin of 2 pixels
/// and 60 by 60 cells of one metre and 4 pixels.
const Request kSmall = {.zoom = picture::Area{1030, 2030, 60}, .size = 244};
constexpr int kCells = 60;
constexpr int kCellPixels = 4;
constexpr int kMargin = 2;

/// Rows of letters, the northernmost first; row 0 is at y 2059.5, column 0 at x 1000.5.
using Drawing = std::vector<std::string>;

/// A LAS file of points; their coordinates are metres above the offset (1000, 2000, 30).
Bytes las(const std::vector<MapPoint>& points, int colourFactor = 1) {
  Bytes bytes = test::lasHeader(static_cast<std::uint32_t>(points.size()));
  for (const MapPoint& point : points) {
    const auto steps = [&](std::size_t i) {
      return static_cast<std::int32_t>(std::lround(point.position[i] * 1000));
    };
    const auto wide = [&](std::size_t i) {
      return static_cast<std::uint16_t>(point.colour[i] * colourFactor);
    };
    bytes += test::lasRecord({.x = steps(0),
                              .y = steps(1),
                              .z = steps(2),
                              .red = wide(0),
                              .green = wide(1),
                              .blue = wide(2)});
  }
  return bytes;
}

/// The points of a drawing: for each letter those of the cell, at heights, with their colours.
std::vector<MapPoint> pointsOf(
    const Drawing& drawing,
    const std::map<char, std::vector<std::pair<double, std::array<std::uint16_t, 3>>>>& legend) {
  std::vector<MapPoint> points;
  for (std::size_t row = 0; row < drawing.size(); ++row) {
    for (std::size_t column = 0; column < drawing[row].size(); ++column) {
      if (drawing[row][column] == '.') continue;
      for (const auto& [height, colour] : legend.at(drawing[row][column]))
        points.push_back(
            {{static_cast<double>(column) + 0.5, kCells - 0.5 - static_cast<double>(row), height},
             colour});
    }
  }
  return points;
}

struct Image {
  int width = 0;
  int height = 0;
  std::vector<Colour> pixels;
};

class Picture : public testing::Test {
 protected:
  bool draw(const Bytes& contents, const Request& request = {}) {
    return picture::draw(dir_.write("map.las", contents), dir_.path("map.png"), request);
  }

  Image drawn(const Bytes& contents, const Request& request = {}) {
    EXPECT_TRUE(draw(contents, request));
    Image result = read(dir_.path("map.png"));
    EXPECT_EQ(std::max(result.width, result.height), request.size);
    return result;
  }

  Image read(const std::string& path) {
    Image result;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << path;
    image.format = PNG_FORMAT_RGB;
    result.width = static_cast<int>(image.width);
    result.height = static_cast<int>(image.height);
    result.pixels.resize(std::size_t{image.width} * image.height);
    EXPECT_NE(png_image_finish_read(&image, nullptr, result.pixels.data(), 0, nullptr), 0);
    return result;
  }

  /// Compares each pixel of a picture of kSmall with a drawing; '.' and cells outside are ground.
  void expectDrawing(const Image& image, const Drawing& drawing, std::map<char, Colour> legend) {
    legend['.'] = {16, 18, 24};
    constexpr int kSize = 2 * kMargin + kCells * kCellPixels;
    ASSERT_EQ(image.width, kSize);
    ASSERT_EQ(image.height, kSize);
    for (int y = kMargin; y < kSize - kMargin; ++y) {
      std::string found;
      std::string expected;
      for (int x = kMargin; x < kSize - kMargin; ++x) {
        const Colour& pixel = *(image.pixels.begin() + y * kSize + x);
        const auto isSame = [&pixel](const auto& entry) { return entry.second == pixel; };
        const auto letter = std::ranges::find_if(legend, isSame);
        found += letter == legend.end() ? '?' : letter->first;
        const auto row = static_cast<std::size_t>((y - kMargin) / kCellPixels);
        const auto column = static_cast<std::size_t>((x - kMargin) / kCellPixels);
        const bool inside = row < drawing.size() && column < drawing[row].size();
        expected += inside ? drawing[row][column] : '.';
      }
      ASSERT_EQ(found, expected) << "row " << y << ", see " << testing::PrintToString(drawing);
    }
  }

  test::TempDir dir_;
};

using Points = std::vector<std::pair<double, std::array<std::uint16_t, 3>>>;
const Points kLawn = {{0, {40, 200, 0}}};

/// Points above the lawn and one far below it.
Points overLawn(Points points) {
  points.push_back(kLawn[0]);
  points.emplace_back(-3, std::array<std::uint16_t, 3>{255, 255, 255});
  return points;
}

TEST_F(Picture, ShowsMeanColoursOfTheHighestPointsAndShadesBesideObjects) {
  // B: a roof. P: a pole of two points. S: a single point, which goes. M: points within a small
  // height. r: a red spot on the ground.
  const Drawing scene = {
      "gggggggggggggggggggggggggg", "gggggggggggggggggggggggggg", "gggBBBBBgggggggggggggggggg",
      "gggBBBBBggggggggggggggSggg", "gggBBBBBggggggPgggggggggMg", "gggBBBBBgggggggggggggggggg",
      "ggggggggggrggggggggggMMggg", "gggggggggggggggggggggggggg", "gggggggggggggggggggggggggg"};
  const auto points = pointsOf(scene, {{'g', kLawn},
                                       {'B', overLawn({{3, {20, 40, 240}}})},
                                       {'P', overLawn({{5, {250, 200, 0}}, {5.1, {230, 200, 0}}})},
                                       {'S', overLawn({{9, {255, 0, 0}}})},
                                       {'M', {{0, {10, 150, 3}}, {-0.1, {70, 249, 0}}}},
                                       {'r', {{0, {200, 0, 0}}}}});
  // A cell is darker by 55 % (d) where three of the eight directions, each counted against its
  // opposite, meet something higher within two cells; by two thirds of this (m) for two, one third
  // (c) for one.
  const Drawing expected = {
      "gccmmdmmccgggggggggggggggg", "gccmdddmccgggggggggggggggg", "gmmBBBBBmmggcgcgcggggggggg",
      "gmdBBBBBdmgggcccgggggggggg", "gmdBBBBBdmggccPccgggggggMg", "gmmBBBBBmmgggcccgggggggggg",
      "gccmdddmccrgcgcgcggggMMggg", "gccmmdmmccgggggggggggggggg", "gggggggggggggggggggggggggg"};
  const std::map<char, Colour> legend = {
      {'g', {40, 200, 0}}, {'B', {20, 40, 240}}, {'P', {240, 200, 0}}, {'M', {40, 200, 2}},
      {'r', {200, 0, 0}},  {'d', {18, 90, 0}},   {'m', {25, 127, 0}},  {'c', {33, 163, 0}}};
  expectDrawing(drawn(las(points), kSmall), expected, legend);
  expectDrawing(drawn(las(points, 256), kSmall), expected, legend);  // colours of 16 bits
  std::vector<MapPoint> reversed(points.rbegin(), points.rend());
  expectDrawing(drawn(las(reversed), kSmall), expected, legend);
}

TEST_F(Picture, ShowsHeightsWithoutColoursAndLightensNearlyBlackOnes) {
  const Drawing scene = {"0....5....t....f....s"};
  std::map<char, Points> legend = {
      {'0', {{0, {}}}}, {'5', {{5, {}}}}, {'t', {{10, {}}}}, {'f', {{15, {}}}}, {'s', {{20, {}}}}};
  expectDrawing(drawn(las(pointsOf(scene, legend)), kSmall), scene,
                {{'0', {46, 64, 120}},
                 {'5', {42, 134, 148}},
                 {'t', {110, 176, 98}},
                 {'f', {232, 200, 92}},
                 {'s', {245, 240, 225}}});
  for (auto& [letter, points] : legend) points[0].second = {16, 18, 24};  // as the ground
  const Colour lighter = {52, 54, 60};                                    // by half of 96 - 24
  expectDrawing(drawn(las(pointsOf(scene, legend)), kSmall), {"b....b....b....b....b"},
                {{'b', lighter}});
}

TEST_F(Picture, FillsHolesButNotOutlinesAndShowsSlices) {
  Drawing scene = {"llllllllllllllll.....",
                   "llll.lllllllllll.....oooooooooooooooo",
                   "llllllllll...lll.....o..............o",
                   "lRRlllllll...lll.....o..............o",
                   "lRRlllllll...lll.....o..............o",
                   "llllllllllllllll.....o..............o",
                   "lll.lllllllll.ll.....o..............o",
                   "llllllllllllllll.....o..............o"};
  Drawing expected = {"llllllllllllllll.....",
                      "llllllllllllllll.....oooooooooooooooo",
                      "llllllllllllllll.....o..............o",
                      "llllllllllllllll.....o..............o",
                      "llllllllllllllll.....o..............o",
                      "llllllllllllllll.....o..............o",
                      "llllllllllllllll.....o..............o",
                      "llllllllllllllll.....o..............o"};
  for (Drawing* const drawing : {&scene, &expected}) {  // the south of the outline
    drawing->resize(14, ".....................o..............o");
    drawing->push_back(".....................oooooooooooooooo");
  }
  const Bytes map = las(pointsOf(
      scene, {{'l', kLawn}, {'R', overLawn({{5, {9, 9, 255}}})}, {'o', {{0.5, {200, 210, 220}}}}}));
  Request request = kSmall;
  request.slice = {30, 30.5};
  expectDrawing(drawn(map, request), expected, {{'l', {40, 200, 0}}, {'o', {200, 210, 220}}});

  const test::CapturedLines captured;
  request.slice = {36, 37};
  EXPECT_FALSE(draw(map, request));
  EXPECT_THAT(captured.lines(),
              ElementsAre(HasSubstr("has no points from z 36.000 to 37.000, its heights in the "
                                    "square are 27.000 to 35.000!")));
}

/// 40 m by 26 m with nothing symmetric: a slope whose red rises to the east and green to the north,
/// a house in the southwest, a wall, a wire, a pole, a sparse canopy in the northeast, and a hole.
std::vector<MapPoint> landscape() {
  std::vector<MapPoint> points;
  unsigned state = 1;
  const auto random = [&state](double low, double high) {
    state = state * 1664525 + 1013904223;
    return low + (high - low) * (state >> 8) / (1 << 24);
  };
  const auto add = [&points](double x, double y, double z, const Colour& colour) {
    points.push_back({{x, y, z}, {colour[0], colour[1], colour[2]}});
  };
  const auto part = [](double value) { return static_cast<std::uint8_t>(60 + 4 * value); };
  for (int i = 0; i < 12'000; ++i) {
    const double x = random(0, 40);
    const double y = random(0, 26);
    if (std::hypot(x - 25, y - 6) < 2.5) continue;  // the hole
    const bool isHouse = x > 4 && x < 13 && y > 3 && y < 9 && !(x > 10 && y > 7);
    add(x, y, isHouse ? 5 : x * 0.05, isHouse ? Colour{190, 70, 40} : Colour{part(x), part(y), 30});
    if (i % 3 == 0 && x > 28 && y > 16) add(x, y, 7 + random(0, 0.1), {20, 90, 200});  // canopy
    if (i % 12 == 0) add(20, y / 2, random(0, 3), {250, 250, 250});                    // wall
    if (i % 60 == 0) add(x, 20 - x / 8, 9, {10, 10, 10});                              // wire
    if (i % 999 == 0) add(33, 3, 0.7 * i / 999, {250, 240, 0});                        // pole
    if (i % 999 == 500) add(x, y, 15, {255, 0, 255});                                  // speckles
  }
  return points;
}

/// Compares the whole picture, text included, with one that was looked at. PCBIN_NEW_PICTURES is a
/// folder for the pictures that were drawn.
TEST_F(Picture, IsTheSameAsOneThatWasLookedAt) {
  const auto expectGolden = [this](const std::string& name) {
    const Image drawn = read(dir_.path("map.png"));
    if (const char* const folder = std::getenv("PCBIN_NEW_PICTURES"))
      std::filesystem::copy_file(dir_.path("map.png"), std::string(folder) + "/" + name,
                                 std::filesystem::copy_options::overwrite_existing);
    const Image expected = read(std::string(PCBIN_PICTURES) + "/" + name);
    ASSERT_EQ(std::pair(drawn.width, drawn.height), std::pair(expected.width, expected.height));
    const auto [pixel, other] = std::ranges::mismatch(drawn.pixels, expected.pixels);
    const auto place = static_cast<int>(pixel - drawn.pixels.begin());
    EXPECT_EQ(pixel, drawn.pixels.end())
        << name << ": x " << place % drawn.width << ", y " << place / drawn.width;
  };
  // Heights, a legend, a coordinate system in US survey feet, and points far away.
  std::vector<MapPoint> points = landscape();
  for (MapPoint& point : points) point.colour = {};
  points.push_back({{900, -70, 0}, {}});
  points.push_back({{-400, 0, 1}, {}});
  Bytes map = las(points);
  Bytes keys(86, '\0');
  keys.replace(2, 15, "LASF_Projection");
  const std::array<std::uint16_t, 16> values = {1,    1, 0, 3,    1024, 0, 1, 1,
                                                3072, 0, 1, 2263, 3076, 0, 1, 9003};
  test::patch(keys, 18, std::uint16_t{34735});
  test::patch(keys, 20, std::uint16_t{32});
  test::patch(keys, 54, values);
  map.insert(227, keys);
  test::patch(map, 96, 227U + 86U);
  test::patch(map, 100, 1U);
  ASSERT_TRUE(draw(map, {.size = 500}));
  expectGolden("heights.png");

  // A map with 16-bit colours: the whole map, then only the points from z 31 to 35. The roof at 35
  // is drawn; the canopy and the wire above it are not.
  const Bytes wide = las(landscape(), 256);
  ASSERT_TRUE(draw(wide, {.size = 420}));
  expectGolden("colours.png");
  ASSERT_TRUE(draw(wide, {.zoom = picture::Area{1016, 2013, 33}, .slice = {31, 35}, .size = 400}));
  expectGolden("slice.png");

  // The points turned by the optimised poses, and as they were before.
  const std::vector<MapPoint> after = landscape();
  std::vector<MapPoint> before = after;
  for (MapPoint& point : before) {
    point.position[0] += 0.2 * point.position[1];
    point.position[2] += 2;
  }
  const auto pass = [&](const auto& take) {
    take(before, after);
    return true;
  };
  ASSERT_TRUE(picture::drawComparison(pass, "karte \u00fc.las", {.name = "EPSG:32632"},
                                      dir_.path("map.png"), {.size = 500}));
  expectGolden("comparison.png");
}

/// A lawn of 60 m by 40 m with a point every 0.2 m.
std::vector<MapPoint> lawn() {
  std::vector<MapPoint> points;
  for (int row = 0; row < 200; ++row) {
    for (int column = 0; column < 300; ++column)
      points.push_back({{column * 0.2, row * 0.2, 0}, kLawn[0].second});
  }
  return points;
}

TEST_F(Picture, IsNotShrunkByPointsFarAwayAndClosedForAnyNumberOfPoints) {
  std::vector<MapPoint> points = lawn();
  const auto filled = [&](const Bytes& map) {
    const Image image = drawn(map);
    return static_cast<double>(std::ranges::count(image.pixels, Colour{40, 200, 0})) /
           static_cast<double>(image.pixels.size());
  };
  const double whole = filled(las(points));
  EXPECT_GT(whole, 0.8);  // the margins take most of the rest
  for (const std::size_t share : {2U, 7U, 61U}) {
    std::vector<MapPoint> fewer;
    for (std::size_t i = 0; i < points.size(); i += share) fewer.push_back(points[i]);
    EXPECT_NEAR(filled(las(fewer)), whole, 0.05) << share;
  }
  Bytes higher = las(points);  // by its header: a few points there were not in the sample
  test::patch(higher, 195, 2055.0);
  EXPECT_NEAR(filled(higher), whole * 40 / 55, 0.03);
  points[777] = {{100'000, -70'000, 900}, {255, 0, 0}};
  points[9'999] = {{-3'000, 20, 0}, {255, 0, 0}};
  EXPECT_NEAR(filled(las(points)), whole, 0.01);
}

TEST_F(Picture, IsTheSameFromTwoThreads) {
  std::vector<MapPoint> points = lawn();
  Bytes map = las(points);
  constexpr int kCopies = 18;  // more than a million points
  for (int i = 1; i < kCopies; ++i) {
    for (MapPoint& point : points) {
      point.position[2] += i % 5 - 1.7;
      point.colour[static_cast<std::size_t>(i % 3)] += 11;
    }
    map += las(points).substr(227);
  }
  test::patch(map, 107, static_cast<std::uint32_t>(kCopies * points.size()));
  const Image image = drawn(map, {.size = 500, .threads = 1});
  EXPECT_EQ(drawn(map, {.size = 500, .threads = 2}).pixels, image.pixels);
}

TEST_F(Picture, ComparesWhereThePointsMovedMostAmongDensePlaces) {
  // Squares of 40 m: 300 points that moved by 1 m, 120 by 5 m, 50 (less than a third) by 20 m.
  std::vector<MapPoint> before;
  std::vector<MapPoint> after;
  const auto add = [&](int number, double x, double distance, const Colour& colour) {
    for (int i = 0; i < number; ++i) {
      const int row = i / 20;
      const MapPoint point = {{x + i % 20, 2001.0 + row, 5}, {colour[0], colour[1], colour[2]}};
      after.push_back(point);
      before.push_back(point);
      before.back().position[0] += distance;
    }
  };
  add(300, 1001, 1, {200, 0, 0});
  add(120, 3001, 5, {0, 200, 0});
  add(50, 5001, 20, {0, 0, 200});
  const auto pass = [&](const auto& take) {
    take(before, after);
    return true;
  };
  const std::string path = dir_.path("map.png");
  Request request = {.size = 246};  // two maps of 120 pixels
  ASSERT_TRUE(picture::drawComparison(pass, "map.las", {}, path, request));
  const Image image = read(path);
  EXPECT_EQ(image.width, 246);
  EXPECT_EQ(image.height, 124);
  std::array<int, 2> edges = {999, 999};
  for (int i = 0; i < image.width * image.height; ++i) {
    const Colour& pixel = image.pixels[static_cast<std::size_t>(i)];
    EXPECT_TRUE(pixel[0] < 100 && pixel[2] < 100);
    const int x = i % image.width;
    int& edge = edges[x < image.width / 2 ? 0 : 1];
    if (pixel == Colour{0, 200, 0}) edge = std::min(edge, x);
  }
  EXPECT_NEAR(edges[0] - (edges[1] - 122), 15, 2);  // 5 m, with 3 pixels to a metre
}

TEST_F(Picture, IgnoresBytesBetweenHeaderAndPointsAndAfterThem) {
  const Bytes plain = las(lawn());
  const Image image = drawn(plain);
  Bytes records = plain;
  records.insert(227, Bytes(54 + 33, 'x'));
  test::patch<std::uint32_t>(records, 96, 227 + 54 + 33);
  test::patch<std::uint32_t>(records, 100, 1);
  EXPECT_EQ(drawn(records).pixels, image.pixels);
  EXPECT_EQ(drawn(plain + las({{{500, 500, 0}, {255, 0, 0}}}).substr(227)).pixels, image.pixels);
  Bytes cut = plain + Bytes(33, 'x');
  test::patch<std::uint32_t>(cut, 107, 0xffffffff);
  EXPECT_EQ(drawn(cut).pixels, image.pixels);
}

TEST_F(Picture, RefusesFilesThatCannotBeDrawn) {
  const Bytes good = las(lawn());
  const auto patched = [&]<class Number>(std::size_t offset, Number value) {
    Bytes bytes = good;
    test::patch(bytes, offset, value);
    return bytes;
  };
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  const std::map<std::string, Bytes> cases = {
      {"has no las header", good.substr(0, 226)},
      {"has no las header!", "X" + good.substr(1)},
      {"has point format 131,", patched(104, std::uint8_t{131})},
      {"format 3, 38 bytes", patched(105, std::uint16_t{38})},
      {"from offset 226", patched(96, 226U)},
      {"has no points", good.substr(0, 227 + 33)},
      {"has no points!", patched(107, 0U)},
      {"map.las) has no points!", patched(96, 0xffffffffU)},
      {"scale factor 0 and", patched(131, 0.0)},
      {"scale factor nan", patched(139, std::nan(""))},
      {"offset inf", patched(171, kInfinite)},
      {"coordinates that cannot be drawn", patched(131, 1e305)},
  };
  for (const auto& [message, contents] : cases) {
    const test::CapturedLines captured;
    EXPECT_FALSE(draw(contents)) << message;
    EXPECT_THAT(captured.lines(), ElementsAre(AllOf(StartsWith("<E>"), HasSubstr(message))));
  }
  for (const picture::Area zoom : {picture::Area{1030, 2020, 0},
                                   {1030, std::nan(""), 10},
                                   {kInfinite, 2020, 10},
                                   {-1030, 2020, 10},
                                   {1030, 2020, 1e-320}}) {
    const test::CapturedLines captured;
    EXPECT_FALSE(draw(good, {.zoom = zoom})) << zoom.x << ' ' << zoom.y << ' ' << zoom.width;
    EXPECT_EQ(captured.lines().size(), 1U);
  }
  EXPECT_THAT(dir_.names(), ElementsAre("map.las"));
}

TEST_F(Picture, LeavesNothingBehindWhenReadingOrWritingFails) {
  const Bytes good = las(lawn());
  const std::string path = dir_.write("map.las", good);
  {
    const test::FaultyFile fault(path, {.end = 1'000'000});
    EXPECT_FALSE(picture::draw(path, dir_.path("map.png"), {}));
  }
  EXPECT_FALSE(picture::draw(path, path, {}));
  EXPECT_EQ(test::readFile(path), good);
  EXPECT_FALSE(picture::draw(path, dir_.path(), {}));

  dir_.write("map.png", "old");
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit little{1000, former.rlim_max};
  setrlimit(RLIMIT_FSIZE, &little);
  const bool isDrawn = picture::draw(path, dir_.path("map.png"), {});
  setrlimit(RLIMIT_FSIZE, &former);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(isDrawn);
  EXPECT_EQ(test::readFile(dir_.path("map.png")), "old");
  EXPECT_THAT(dir_.names(), ElementsAre("map.las", "map.png"));
}

TEST_F(Picture, HasNoPointsOfAnotherPlaceAfterAFailedSeek) {
  constexpr std::uint32_t kMany = 1'000'000;  // two threads read one half each; only the lawn shows
  const Bytes points = las(lawn());
  const std::string path = dir_.write("map.las", test::lasHeader(kMany));
  std::filesystem::resize_file(path, 227 + 34 * kMany - (points.size() - 227));
  std::ofstream(path, std::ios::app) << points.substr(227);
  const std::string png = dir_.path("map.png");
  ASSERT_TRUE(picture::draw(path, png, kSmall));
  const Bytes good = test::readFile(png);
  bool happened = true;
  for (unsigned number = 1; happened; ++number) {
    dir_.write("map.png", "old");
    const test::FaultInjection injection({{test::Call::kSeek, number, false}});
    const bool isDrawn = picture::draw(path, png, kSmall);
    happened = test::FaultInjection::happened();
    EXPECT_TRUE(test::readFile(png) == (isDrawn ? good : "old")) << number;
  }
}

}  // namespace

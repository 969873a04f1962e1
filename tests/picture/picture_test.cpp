// SPDX-License-Identifier: BSD-3-Clause
// Pictures of LAS files, checked by their pixels.
#include "pcbin_las/picture/picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <limits>
#include <map>
#include <numeric>
#include <sys/resource.h>

#include <gmock/gmock.h>
#include <png.h>

#include "pcbin_las/picture/map_view.h"
#include "pcbin_las/picture/page.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using picture::Colour;
using picture::heightColour;
using picture::kMargin;
using test::Bytes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr Colour kRed = {200, 0, 0};
constexpr Colour kGreen = {0, 201, 1};
constexpr Colour kBlue = {3, 5, 255};

/// A record at metres above the header's offset (1000, 2000, 30).
Bytes point(double x, double y, double z, const Colour& colour = {}, std::uint16_t factor = 1) {
  const auto step = [](double metres) {
    return static_cast<std::int32_t>(std::lround(metres * 1000));
  };
  const auto wide = [&](std::size_t i) { return static_cast<std::uint16_t>(colour[i] * factor); };
  return test::lasRecord({.x = step(x),
                          .y = step(y),
                          .z = step(z),
                          .red = wide(0),
                          .green = wide(1),
                          .blue = wide(2)});
}

Bytes las(const std::vector<Bytes>& points) {
  Bytes bytes = test::lasHeader(static_cast<std::uint32_t>(points.size()));
  for (const Bytes& record : points) bytes += record;
  return bytes;
}

/// A lawn of 60 m by 40 m with a point every 0.2 m.
std::vector<Bytes> lawn() {
  std::vector<Bytes> points;
  points.reserve(60'000);
  for (int row = 0; row < 200; ++row) {
    for (int column = 0; column < 300; ++column)
      points.push_back(point(column * 0.2, row * 0.2, 0, kGreen));
  }
  return points;
}

struct Image {
  int width = 0;
  int height = 0;
  std::vector<Colour> pixels;

  const Colour& at(int x, int y) const {
    return pixels.at(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                     static_cast<std::size_t>(x));
  }
  std::ptrdiff_t count(const Colour& colour) const { return std::ranges::count(pixels, colour); }
  /// The mean position of the pixels of this colour, as parts of width and height.
  std::array<double, 2> centre(const Colour& colour) const {
    double x = 0;
    double y = 0;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      if (pixels[i] != colour) continue;
      const auto row = i / static_cast<std::size_t>(width);
      x += static_cast<double>(i % static_cast<std::size_t>(width));
      y += static_cast<double>(row);
    }
    const auto number = static_cast<double>(count(colour));
    return {x / number / width, y / number / height};
  }
};

class Picture : public testing::Test {
 protected:
  bool draw(const Bytes& contents, const std::optional<picture::Area>& zoom = {}) {
    return picture::draw(dir_.write("map.las", contents), dir_.path("map.png"), zoom);
  }

  /// The picture of a LAS file of these contents.
  Image drawn(const Bytes& contents, const std::optional<picture::Area>& zoom = {}) {
    EXPECT_TRUE(draw(contents, zoom));
    Image result;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, dir_.path("map.png").c_str()), 0);
    image.format = PNG_FORMAT_RGB;
    result.width = static_cast<int>(image.width);
    result.height = static_cast<int>(image.height);
    result.pixels.resize(std::size_t{image.width} * image.height);
    EXPECT_NE(png_image_finish_read(&image, nullptr, result.pixels.data(), 0, nullptr), 0);
    EXPECT_LE(std::max(result.width, result.height), 1600);
    return result;
  }

  /// The names of all files in the directory.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
      names.push_back(entry.path().filename());
    return names;
  }

  test::TempDir dir_;
};

TEST_F(Picture, ShowsTheColoursOfTheHighestPointsWithNorthUp) {
  const std::vector<Bytes> points = {point(0, 90, 5, kRed), point(0, 90, 4, kBlue),
                                     point(100, 0, 4, kBlue), point(100, 0, 5, kGreen),
                                     point(50, 45, -9, kBlue)};
  const Image image = drawn(las(points));
  EXPECT_GT(image.count(kRed), 50);
  EXPECT_GT(image.count(kGreen), 50);
  EXPECT_EQ(image.count(kBlue), image.count(kRed));
  EXPECT_LT(image.centre(kRed)[0], 0.05);
  EXPECT_LT(image.centre(kRed)[1], 0.05);
  EXPECT_GT(image.centre(kGreen)[0], 0.95);
  EXPECT_GT(image.centre(kGreen)[1], 0.85);
}

TEST_F(Picture, IsTheSameFromColoursOfEightAndSixteenBits) {
  std::vector<Bytes> narrow;
  std::vector<Bytes> wide;
  for (int i = 0; i < 256; ++i) {
    const Colour colour = {static_cast<std::uint8_t>(i), 7, static_cast<std::uint8_t>(255 - i)};
    narrow.push_back(point(i, i % 100, 0, colour));
    wide.push_back(point(i, i % 100, 0, colour, 257));
  }
  EXPECT_EQ(drawn(las(narrow)).pixels, drawn(las(wide)).pixels);
}

TEST_F(Picture, ShowsHeightsWhenAllColoursAreZero) {
  const Image image = drawn(las({point(0, 0, 0), point(20, 0, 5), point(40, 10, 10)}));
  for (const double part : {0.0, 0.5, 1.0}) EXPECT_GT(image.count(heightColour(part)), 50) << part;
}

TEST_F(Picture, DrawsTenPointsAsDotsThatCanBeSeen) {
  std::vector<Bytes> points;
  points.reserve(10);
  for (int i = 0; i < 10; ++i)
    points.push_back(point(i * i, i % 3 * 20, 0, {static_cast<std::uint8_t>(100 + i), 0, 9}));
  const Image image = drawn(las(points));
  for (int i = 0; i < 10; ++i)
    EXPECT_GT(image.count({static_cast<std::uint8_t>(100 + i), 0, 9}), 50) << i;
}

TEST_F(Picture, IsNotShrunkByPointsFarAway) {
  std::vector<Bytes> points = lawn();
  const std::ptrdiff_t whole = drawn(las(points)).count(kGreen);
  EXPECT_GT(whole, 1'000'000);
  points[777] = point(100'000, -70'000, 900, kRed);
  points[9'999] = point(-3'000, 20, 0, kRed);
  const Image image = drawn(las(points));
  EXPECT_GT(image.count(kGreen), whole * 99 / 100);
  EXPECT_EQ(image.count(kRed), 0);
}

TEST_F(Picture, DrawsThePartAroundAPlace) {
  std::vector<Bytes> points = lawn();
  points.push_back(point(30, 20, 1, kRed));
  points.push_back(point(36, 20, 1, kBlue));
  const Image image = drawn(las(points), picture::Area{1030, 2020, 10});
  EXPECT_EQ(image.count(kBlue), 0);
  const int middle = (image.width - 2 * kMargin) / 2 + kMargin;
  EXPECT_EQ(image.at(middle, middle), kRed);
  EXPECT_GT(image.count(kGreen), 48 * 48 * 50);
}

TEST_F(Picture, IgnoresBytesBetweenHeaderAndPointsAndAfterThem) {
  const std::vector<Bytes> points = lawn();
  const Bytes plain = las(points);
  const Image image = drawn(plain);
  Bytes records = plain;
  records.insert(227, Bytes(54 + 33, 'x'));
  test::patch<std::uint32_t>(records, 96, 227 + 54 + 33);
  test::patch<std::uint32_t>(records, 100, 1);
  EXPECT_EQ(drawn(records).pixels, image.pixels);
  EXPECT_EQ(drawn(plain + point(500, 500, 0, kRed)).pixels, image.pixels);
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
    EXPECT_THAT(files(), ElementsAre("map.las")) << message;
  }
  for (const picture::Area zoom : {picture::Area{1030, 2020, 0},
                                   {1030, 2020, -1},
                                   {1030, std::nan(""), 10},
                                   {kInfinite, 2020, 10},
                                   {-1030, 2020, 10},
                                   {1030, 2020, 1e-320}}) {
    const test::CapturedLines captured;
    EXPECT_FALSE(draw(good, zoom)) << zoom.x << ' ' << zoom.y << ' ' << zoom.width;
    EXPECT_THAT(captured.lines(), SizeIs(1));
  }
  EXPECT_FALSE(picture::draw(dir_.path("none.las"), dir_.path("map.png"), {}));
  EXPECT_THAT(files(), ElementsAre("map.las"));
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
  EXPECT_FALSE(picture::draw(path, dir_.path("none/map.png"), {}));

  dir_.write("map.png", "old");
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit little{1000, former.rlim_max};
  setrlimit(RLIMIT_FSIZE, &little);
  const bool drawn = picture::draw(path, dir_.path("map.png"), {});
  setrlimit(RLIMIT_FSIZE, &former);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(drawn);
  EXPECT_EQ(test::readFile(dir_.path("map.png")), "old");
  EXPECT_THAT(files(), SizeIs(2));
}

TEST(RobustRange, LeavesOutFewValuesFarAway) {
  std::vector<double> values(10'000);
  std::iota(values.begin(), values.end(), 0);
  const auto range = [&](const std::vector<double>& more) {
    std::vector<double> all = values;
    all.insert(all.end(), more.begin(), more.end());
    const picture::Range found = picture::robustRange(all);
    return std::pair(found.low, found.high);
  };
  const std::pair whole(0.0, 9999.0);
  EXPECT_EQ(range({}), whole);
  EXPECT_EQ(range({-1e7, 1e7, 2e7, 3e7}), whole);
  EXPECT_EQ(range({10400}), std::pair(0.0, 10400.0));
  EXPECT_EQ(range(std::vector<double>(500, 1e6)), std::pair(0.0, 1e6));  // too many to be stray
  values.resize(9);
  EXPECT_EQ(range({1e5}), std::pair(0.0, 1e5));
}

TEST(Page, UsesRoundLengthsAndPlainText) {
  EXPECT_DOUBLE_EQ(picture::roundLength(0.0351), 0.02);
  EXPECT_DOUBLE_EQ(picture::roundLength(99), 50);
  EXPECT_DOUBLE_EQ(picture::roundLength(100), 100);
  EXPECT_DOUBLE_EQ(picture::roundLength(9999), 5000);
  EXPECT_EQ(picture::printable("a b~\x7f\x1b\xc3\xbc.las"), "a b~???.las");
}

}  // namespace

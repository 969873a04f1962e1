// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/comparison.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace {

TEST(Comparison, ShowsThePointsAsRegisteredAndAsOptimised) {
  if (!picture::isSupported()) GTEST_SKIP();
  constexpr unsigned kPoints = 200;
  const test::TempDir dir;
  Conversion conversion;
  conversion.pcbinPath = dir.write("a.pcbin", test::rgbFile(1, kPoints));
  conversion.pgoPath = dir.write("pgo.csv", test::poseLine(0, {}, {.position = {3, -5, 0.5}}));
  conversion.lasPath = "folder/map.las";
  BatchOutputs outputs;
  outputs.picturePath = dir.path("a.png");
  outputs.picture = {.zoom = picture::Area{1060, 2060, 50}, .size = 400};
  ASSERT_TRUE(drawComparison(conversion, outputs));

  std::vector<picture::MapPoint> before;
  std::vector<picture::MapPoint> after;
  for (unsigned k = 0; k < kPoints; ++k) {
    const std::array<std::uint16_t, 3> colour = {static_cast<std::uint16_t>(k), 1, 2};
    before.push_back({{1000.0 + k, 2000.25 + k, 30.5 + k}, colour});
    after.push_back({{1003.0 + k, 1995.25 + k, 31.0 + k}, colour});
  }
  const auto pass = [&](const auto& take) {
    take(before, after);
    return true;
  };
  ASSERT_TRUE(
      picture::drawComparison(pass, "map.las", {}, dir.path("expected.png"), outputs.picture));
  EXPECT_EQ(test::readFile(dir.path("a.png")), test::readFile(dir.path("expected.png")));
}

}  // namespace

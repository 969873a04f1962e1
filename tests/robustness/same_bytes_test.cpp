// One survey gives the same LAS file on every machine.
#include <limits>

#include <gmock/gmock.h>

#include "pcbin_las/export/pcbin_las.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;

/// A fixed sequence without a pattern, exact in floating point.
class Numbers {
 public:
  std::uint32_t next() { return state_ = state_ * 1664525 + 1013904223; }

  /// In [-limit, limit).
  float within(float limit) {
    return (static_cast<float>(next() >> 8) / 8388608.0F - 1.0F) * limit;
  }
  double angle() { return static_cast<double>(within(1)); }

 private:
  std::uint32_t state_ = 12345;
};

test::RgbPoint anyPoint(Numbers& numbers, std::uint32_t sweep) {
  test::RgbPoint point;
  for (float* const coordinate : {&point.x, &point.y, &point.z}) *coordinate = numbers.within(4000);
  for (float* const colour : {&point.r, &point.g, &point.b}) *colour = numbers.within(300);
  point.intensity = static_cast<std::uint16_t>(numbers.next() >> 16);
  point.timestamp = numbers.next() / 1024.0;
  point.sweepid = sweep;
  return point;
}

/// Values that machines convert differently when they are left to themselves.
void addOddPoints(std::vector<test::RgbPoint>& points, std::uint32_t sweep) {
  using Limits = std::numeric_limits<float>;
  for (const float odd : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), 1e30F,
                          -1.0F, 4294967296.0F, Limits::denorm_min(), -0.0F}) {
    points.push_back({odd, 0, 0, 0, 0, 0, 0, 0, 0, sweep});
    points.push_back(
        {0.0005F, -0.0015F, 0.0025F, odd, -odd, odd, 0, 0, static_cast<double>(odd), sweep});
  }
}

/// 20 sweeps of 520 points, of which one has no pose, and poses that turn them about any axis.
void writeSurvey(const std::string& pcbin, const std::string& poses) {
  Numbers numbers;
  Bytes frames = test::pcbHeader(20, 20 * 520);
  std::string lines = "# poses\n";
  for (std::uint32_t sweep = 0; sweep < 20; ++sweep) {
    std::vector<test::RgbPoint> points;
    addOddPoints(points, sweep);
    while (points.size() < 520) points.push_back(anyPoint(numbers, sweep));
    frames += test::rgbFrame(sweep, 1e9, points);
    const auto pose = [&numbers]() -> test::Pose {
      return {{4000 * numbers.angle(), 4000 * numbers.angle(), 50 * numbers.angle()},
              {numbers.angle(), numbers.angle(), numbers.angle(), numbers.angle()}};
    };
    const test::Pose lio = pose(), pgo = pose();
    if (sweep != 7) lines += test::poseLine(sweep, lio, pgo);
  }
  std::ofstream(pcbin, std::ios::binary) << frames;
  std::ofstream(poses) << lines;
}

/// The 64-bit FNV-1a hash.
std::uint64_t digest(const Bytes& bytes) {
  std::uint64_t hash = 14695981039346656037U;
  for (const char byte : bytes) hash = (hash ^ static_cast<std::uint8_t>(byte)) * 1099511628211U;
  return hash;
}

TEST(Machines, ComputeTheSameLasFile) {
  const test::TempDir dir;
  const test::CapturedLines captured;
  writeSurvey(dir.path("a.pcbin"), dir.path("a.csv"));
  EXPECT_EQ(digest(test::readFile(dir.path("a.pcbin")) + test::readFile(dir.path("a.csv"))),
            14466505732095481635U)
      << "the inputs are the same";
  ASSERT_TRUE(pcbin_las(dir.path("a.pcbin"), dir.path("a.csv"), dir.path("a.las")));
  const Bytes las = test::readFile(dir.path("a.las"));
  EXPECT_GT(las.size(), 227U + 34 * 19 * 504);
  EXPECT_EQ(digest(las.substr(94)), 5653985363185941302U) << "everything behind the creation date";
}

}  // namespace

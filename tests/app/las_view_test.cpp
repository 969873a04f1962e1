// What the LAS viewer lists.
#include "pcbin_las/app/las_view.h"

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;
using test::Lines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kHeaderLines = 19;
const std::string kOrigin = "<I>TIME [las_view] ";
const std::string kPointError = "<E>TIME [las_view,L#] read las point error!";

std::string rule(std::size_t k) {
  return kOrigin + "------------------points[" + std::to_string(k) + "]--------------------";
}

/// The two lines of the record whose bytes stand at `offset`.
Lines recordLines(std::size_t k, const Bytes& las, std::size_t offset) {
  char text[300];
  std::snprintf(text, sizeof(text), "xyz:[%d, %d, %d] rgbi[%d, %d, %d, %d] timestamp: %.6f",
                at<std::int32_t>(las, offset), at<std::int32_t>(las, offset + 4),
                at<std::int32_t>(las, offset + 8), at<std::uint16_t>(las, offset + 28),
                at<std::uint16_t>(las, offset + 30), at<std::uint16_t>(las, offset + 32),
                at<std::uint16_t>(las, offset + 12), at<double>(las, offset + 20));
  return {rule(k), kOrigin + text};
}

class LasView : public testing::Test {
 protected:
  ~LasView() override { g_verbose = 0; }

  /// The lines that the viewer prints for a file of these contents.
  Lines view(const Bytes& las, unsigned start, unsigned nums) {
    const std::string path = dir_.write("map.las", las);
    const test::CapturedLines captured;
    las_view(path, start, nums);
    return captured.lines();
  }

  /// The lines behind those of the header.
  Lines viewRecords(const Bytes& las, unsigned start, unsigned nums) {
    Lines lines = view(las, start, nums);
    EXPECT_GE(lines.size(), kHeaderLines);
    lines.erase(lines.begin(), lines.begin() + kHeaderLines);
    return lines;
  }

  test::TempDir dir_;
};

TEST_F(LasView, ListsTheHeaderFieldByField) {
  Bytes las = test::lasFile(2);
  test::patch<std::uint16_t>(las, 4, 65535);
  test::patch<std::uint16_t>(las, 6, 1);
  for (std::uint32_t i = 0; i < 5; ++i) test::patch<std::uint32_t>(las, 111 + 4 * i, 11 + i);
  const double values[] = {0.01, 0.002, 0.0004, -1.5, 2.25, 3, 101, 102, 103, 104, 105, 1e10};
  for (std::size_t i = 0; i < 12; ++i) test::patch(las, 131 + 8 * i, values[i]);
  Lines lines = view(las, 0, 0);
  for (std::string& line : lines) {
    ASSERT_TRUE(line.starts_with(kOrigin)) << line;
    line.erase(0, kOrigin.size());
  }
  EXPECT_THAT(
      lines,
      ElementsAre(
          "LAS File size: 295", "LAS header size: 227", "sourceID: 65535", "globalEncoding: 0x01",
          "versionMajor: 1", "versionMinor: 2", "headerSize: 227", "pointDataOffset: 227",
          "numberOfVLR: 0", "pointDataFormatID: 3", "pointDataRecordLength: 34",
          "numberOfPointRecords: 2", "numberOfPointsByReturn: [11, 12, 13, 14, 15]",
          "offset[-1.500000, 2.250000, 3.000000]", "Max[101.000000, 103.000000, 105.000000]",
          "Min[102.000000, 104.000000, 10000000000.000000]", "xScaleFactor: 0.010000",
          "yScaleFactor: 0.002000", "zScaleFactor: 0.000400"));
}

TEST_F(LasView, ListsTheChosenRecords) {
  const Bytes las = test::lasFile(10) + "more bytes than the header announces";
  const struct {
    unsigned start, nums;
    std::size_t first, end;
  } cases[] = {
      {0, 0, 0, 0},  {2, 3, 2, 5},  {9, 1, 9, 10},          {8, 5, 8, 10},
      {10, 5, 0, 0}, {99, 1, 0, 0}, {0, 4294967295, 0, 10}, {5, 4294967295, 0, 0},
  };
  for (const auto& c : cases) {
    Lines expected;
    for (std::size_t k = c.first; k < c.end; ++k)
      for (const std::string& line : recordLines(k, las, 227 + 34 * k)) expected.push_back(line);
    EXPECT_EQ(viewRecords(las, c.start, c.nums), expected) << c.start << ", " << c.nums;
  }
}

TEST_F(LasView, AddsSevenLinesOfEachRecordWhenVerbose) {
  Bytes las = test::lasHeader(2) + test::lasRecord({}) +
              test::lasRecord({-1500, 2147483647, -2147483647, 65535, 1, 2, 40000, -0.25});
  las.replace(las.size() - 20, 6, "\xAA\xE2\xF6\x77\x06\xFF");
  g_verbose = 1;
  EXPECT_THAT(viewRecords(las, 1, 1),
              ElementsAre(rule(1),
                          kOrigin + "xyz:[-1500, 2147483647, -2147483647] "
                                    "rgbi[1, 2, 40000, 65535] timestamp: -0.250000",
                          kOrigin + "returnNumber: 2", kOrigin + "numberOfReturns: 5",
                          kOrigin + "scanDirectionFlag: 0", kOrigin + "edgeOfFlightLine: 1",
                          kOrigin + "classification: 226", kOrigin + "scanAngleRank: -10",
                          kOrigin + "pointSourceID: 65286"));
}

TEST_F(LasView, NeverPrintsWhatItHasNotRead) {
  Bytes las = test::lasFile(3);
  const Lines whole = viewRecords(las, 1, 2);
  EXPECT_THAT(viewRecords(las.substr(0, las.size() - 1), 1, 2),
              ElementsAre(whole[0], whole[1], kPointError));
  EXPECT_THAT(viewRecords(las.substr(0, 227 + 33), 1, 2), ElementsAre(kPointError));
  EXPECT_THAT(viewRecords(las.substr(0, 227), 0, 0), IsEmpty());
  test::patch<std::uint32_t>(las, 107, 4294967295);
  EXPECT_THAT(viewRecords(las, 4000000000, 1), ElementsAre(kPointError));
  EXPECT_THAT(view(las.substr(0, 226), 0, 1),
              ElementsAre("<E>TIME [las_view,L#] read las header error!"));
  const test::ToolRun none = test::runTool({"-r", "none.las"}, dir_.path());
  EXPECT_THAT(none.lines, ElementsAre("<E>TIME [las_view,L#] open las file(none.las) error!"));
}

TEST_F(LasView, ListsEveryRecordOfAConvertedFile) {
  dir_.write("pgo.pcbin", test::rgbFile(3, 50));
  ASSERT_EQ(test::runTool({}, dir_.path(), "\n").status, 0);
  const Bytes las = test::readFile(dir_.path("map.las"));
  ASSERT_EQ(las.size(), 227U + 34 * 150);
  Lines expected;
  for (std::size_t k = 0; k < 150; ++k)
    for (const std::string& line : recordLines(k, las, 227 + 34 * k)) expected.push_back(line);
  const test::ToolRun run = test::runTool({"-r", "map.las", "-s", "0", "-n", "-1"}, dir_.path());
  EXPECT_EQ(run.status, 0);
  ASSERT_EQ(run.lines.size(), kHeaderLines + expected.size());
  EXPECT_EQ(Lines(run.lines.begin() + kHeaderLines, run.lines.end()), expected);
}

}  // namespace

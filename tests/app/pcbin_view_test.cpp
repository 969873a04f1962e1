// What the pcbin viewer lists.
#include "app/pcbin_view.h"

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

using test::Lines;
using testing::ElementsAre;

/// The line of point k of test::rgbFile() with 4 points in each frame.
std::string line(unsigned k) {
  const std::string n = std::to_string(k);
  return "<I>TIME [pcbin_view] points[" + std::to_string(k % 4) + "](" + n + ".000, " + n +
         ".250, " + n + ".500) rgbi(" + n + ", 1, 2, " + n + ".000000) timestamp: " + n +
         ".000000, sweepid: " + std::to_string(k / 4) + ".";
}

/// The lines of the points [first, end) behind those of an opened file.
Lines listing(unsigned frames, unsigned points, unsigned first, unsigned end) {
  const std::string totals =
      "frames: " + std::to_string(frames) + ", points: " + std::to_string(points) + ".";
  Lines lines = {"<I>TIME [PcbReader::open] pcbin open ok, " + totals,
                 "<I>TIME [pcbin_view] las write starts, " + totals};
  for (unsigned k = first; k < end; ++k) lines.push_back(line(k));
  return lines;
}

TEST(PcbinView, ListsTheChosenPoints) {
  const test::TempDir dir;
  const std::string path = dir.write("a.pcbin", test::rgbFile(12, 4));  // more than one batch
  const struct {
    unsigned start, nums, first, end;
  } cases[] = {
      {0, 0, 0, 0},
      {0, 1, 0, 1},
      {5, 3, 5, 8},
      {2, 8, 2, 10},
      {38, 4, 38, 42},
      {45, 9, 45, 48},
      {48, 5, 0, 0},
      {1000, 5, 0, 0},
      {0, 4294967295, 0, 48},
      {47, 1, 47, 48},
      {7, 0, 0, 0},
      {10, 4294967295, 0, 0},
      {4294967295, 4294967295, 0, 0},
  };
  for (const auto& c : cases) {
    const test::CapturedLines captured;
    EXPECT_TRUE(pcbin_view(path, c.start, c.nums));
    EXPECT_EQ(captured.lines(), listing(12, 48, c.first, c.end)) << c.start << ", " << c.nums;
  }
}

TEST(PcbinView, PassesOverEmptyFrames) {
  const test::TempDir dir;
  const std::string path =
      dir.write("a.pcbin", test::pcbHeader(4, 2) + test::rgbFrame(0, 0, {}) +
                               test::rgbFrame(1, 0, {{.x = -0.0006F, .a = 9, .sweepid = 7}}) +
                               test::rgbFrame(2, 0, {}) +
                               test::rgbFrame(3, 0, {{.r = 255, .intensity = 65535}}));
  const test::CapturedLines captured;
  EXPECT_TRUE(pcbin_view(path, 0, 9));
  const Lines lines = captured.lines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[2],
            "<I>TIME [pcbin_view] points[0](-0.001, 0.000, 0.000) rgbi(0, 0, 0, 0.000000) "
            "timestamp: 0.000000, sweepid: 7.");
  EXPECT_EQ(lines[3],
            "<I>TIME [pcbin_view] points[0](0.000, 0.000, 0.000) rgbi(255, 0, 0, 65535.000000) "
            "timestamp: 0.000000, sweepid: 0.");
}

TEST(PcbinView, ListsTheFramesBeforeDamage) {
  const test::TempDir dir;
  const std::string whole = test::rgbFile(3, 4);
  const std::string path = dir.write("a.pcbin", whole.substr(0, whole.size() - 1));
  const test::CapturedLines captured;
  EXPECT_TRUE(pcbin_view(path, 0, 100));
  Lines expected = listing(3, 12, 0, 8);
  Lines lines = captured.lines();
  std::erase_if(lines, [](const std::string& text) { return !text.starts_with("<I>"); });
  EXPECT_EQ(lines, expected);
  EXPECT_GT(captured.lines().size(), expected.size()) << "the damage is not told";
}

TEST(PcbinView, SaysThatItCannotOpenAFile) {
  const test::TempDir dir;
  const std::string path = dir.path("none.pcbin");
  const test::CapturedLines captured;
  EXPECT_FALSE(pcbin_view(path, 0, 1));
  EXPECT_THAT(captured.lines(),
              ElementsAre("<E>TIME [PcbReader::open,L#] file(" + path + ") not exists!",
                          "<E>TIME [pcbin_view,L#] cannot open pcbin file: " + path + "!"));
}

TEST(PcbinView, TakesItsRangeFromTheCommandLine) {
  const test::TempDir dir;
  dir.write("a.pcbin", test::rgbFile(3, 4));
  const auto lines = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-b", "a.pcbin"});
    const test::ToolRun run = test::runTool(arguments, dir.path());
    EXPECT_EQ(run.status, 0);
    return run.lines;
  };
  EXPECT_EQ(lines({}), listing(3, 12, 0, 0));
  EXPECT_EQ(lines({"-s", "5", "-n", "3", "-v", "2"}), listing(3, 12, 5, 8));
  EXPECT_EQ(lines({"-n", "-1"}), listing(3, 12, 0, 12));
  EXPECT_EQ(lines({"-s", "10", "-n", "-1"}), listing(3, 12, 0, 0));
  EXPECT_EQ(lines({"-s", "-2", "-n", "1"}), listing(3, 12, 0, 0));
}

}  // namespace

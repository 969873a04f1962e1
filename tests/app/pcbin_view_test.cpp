// What the pcbin viewer lists.
#include "pcbin_las/app/pcbin_view.h"

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
  } cases[] = {{0, 0, 0, 0},
               {0, 1, 0, 1},
               {5, 3, 5, 8},
               {2, 8, 2, 10},
               {38, 4, 38, 42},
               {45, 9, 45, 48},
               {47, 1, 47, 48},
               {48, 5, 0, 0},
               {1000, 5, 0, 0},
               {7, 0, 0, 0},
               {0, 4294967295, 0, 48},
               {10, 4294967295, 0, 0},
               {4294967295, 4294967295, 0, 0}};
  for (const auto& c : cases) {
    const test::CapturedLines captured;
    EXPECT_TRUE(pcbin_view(path, c.start, c.nums));
    EXPECT_EQ(captured.lines(), listing(12, 48, c.first, c.end)) << c.start << ", " << c.nums;
  }
}

TEST(PcbinView, ListsTheFramesBeforeDamage) {
  const test::TempDir dir;
  const std::string whole = test::rgbFile(3, 4);
  const std::string path = dir.write("a.pcbin", whole.substr(0, whole.size() - 1));
  const test::CapturedLines captured;
  EXPECT_TRUE(pcbin_view(path, 0, 100));
  Lines lines = captured.lines();
  EXPECT_GT(std::erase_if(lines, [](const auto& text) { return !text.starts_with("<I>"); }), 0U)
      << "the damage is not told";
  EXPECT_EQ(lines, listing(3, 12, 0, 8));
}

TEST(PcbinView, TakesItsRangeFromTheCommandLine) {
  const test::TempDir dir;
  dir.write("a.pcbin", test::rgbFile(3, 4));
  const auto lines = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-b", "a.pcbin"});
    return test::runTool(arguments, dir.path()).lines;
  };
  EXPECT_EQ(lines({"-s", "5", "-n", "3", "-v", "2"}), listing(3, 12, 5, 8));
  EXPECT_EQ(lines({"-n", "-1"}), listing(3, 12, 0, 12));
  EXPECT_EQ(lines({"-s", "-2", "-n", "1"}), listing(3, 12, 0, 0));
  EXPECT_FALSE(pcbin_view(dir.path("none"), 0, 1));
}

}  // namespace

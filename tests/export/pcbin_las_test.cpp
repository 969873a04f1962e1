// Whole conversions, and those that must not begin.
#include "export/pcbin_las.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

const std::string kOpened = "<I>TIME [PcbReader::open] pcbin open ok, frames: 3, points: 6.";

/// The lines of a conversion without its progress lines, of which there may be none: they are
/// limited over all conversions of the process.
test::Lines withoutProgress(test::Lines lines) {
  std::erase_if(lines, [](const std::string& line) { return line.find('%') != std::string::npos; });
  return lines;
}

class PcbinLas : public testing::Test {
 protected:
  test::TempDir dir_;
  const std::string pcbin_ = dir_.write("pgo.pcbin", test::rgbFile(3, 2));
  const std::string las_ = dir_.path("map.las");
  test::CapturedLines captured_;
};

TEST_F(PcbinLas, WritesThePointsOfAllFramesRefined) {
  const std::string poses = dir_.write(
      "pgo.csv", test::poseLine(41, {}, {}) + test::poseLine(1, {}, {.position = {100, 0, -1}}) +
                     test::poseLine(0, {}, {}));
  EXPECT_TRUE(pcbin_las(pcbin_, poses, las_));
  Bytes expected;
  for (const auto& [k, x, z] : {std::array{0, 0, 500}, std::array{1, 1000, 1500},
                                std::array{2, 102000, 1500}, std::array{3, 103000, 2500}}) {
    const auto small = static_cast<std::uint16_t>(k);
    expected += test::lasRecord({x, 1000 * k + 250, z, small, small, 1, 2, static_cast<double>(k)});
  }
  const Bytes las = test::readFile(las_);
  EXPECT_EQ(las.substr(227), expected);
  EXPECT_EQ(at<std::uint32_t>(las, 107), 4U);
  EXPECT_EQ(at<double>(las, 155), 1000);
  EXPECT_EQ(at<double>(las, 163), 2000);
  EXPECT_EQ(at<double>(las, 171), 30);
  EXPECT_THAT(captured_.lines(),
              Contains("<I>TIME [pcbin_las] las write starts, frames: 3, points: 6, "
                       "pgoResult: 42"));
}

TEST_F(PcbinLas, WritesPointsAsTheyAreWithoutAPoseFile) {
  EXPECT_TRUE(pcbin_las(pcbin_, "", las_));
  EXPECT_EQ(test::readFile(las_).size(), 227U + 34 * 6);
  EXPECT_THAT(withoutProgress(captured_.lines()),
              ElementsAre(kOpened,
                          "<I>TIME [pcbin_las] las write starts, frames: 3, points: 6, "
                          "pgoResult: 0",
                          "<I>TIME [write_las] refine pcl points(2) ok.",
                          "<I>TIME [write_las] refine pcl points(2) ok.",
                          "<I>TIME [write_las] refine pcl points(2) ok."));
}

TEST_F(PcbinLas, RejectsEveryPointUnderAPoseFileWithoutDataLines) {
  EXPECT_TRUE(pcbin_las(pcbin_, dir_.write("pgo.csv", "# none\n"), las_));
  EXPECT_EQ(test::readFile(las_).size(), 227U);
  EXPECT_THAT(captured_.lines(), Contains(testing::EndsWith("pgoResult: 1")));
}

TEST_F(PcbinLas, WritesTheFramesBeforeDamage) {
  dir_.write("pgo.pcbin", test::rgbFile(3, 2).substr(0, 68 + 2 * 128 + 100));
  EXPECT_TRUE(pcbin_las(pcbin_, "", las_));
  EXPECT_EQ(test::readFile(las_).size(), 227U + 34 * 4);
}

TEST_F(PcbinLas, TouchesNothingWhenAnInputIsMissing) {
  dir_.write("map.las", "before");
  const std::string none = dir_.path("none");
  EXPECT_FALSE(pcbin_las(pcbin_, none, las_));
  EXPECT_FALSE(pcbin_las(none, none, las_));
  const std::string bad = dir_.write("bad.pcbin", Bytes(68, '\0'));
  EXPECT_FALSE(pcbin_las(bad, none, las_));
  EXPECT_EQ(test::readFile(las_), "before");
  EXPECT_THAT(captured_.lines(),
              ElementsAre(kOpened, "<E>TIME [pcbin_las,L#] cannot open pgo file: " + none + "!",
                          "<E>TIME [PcbReader::open,L#] file(" + none + ") not exists!",
                          "<E>TIME [pcbin_las,L#] cannot open pcbin file: " + none + "!",
                          "<E>TIME [PcbReader::open,L#] file(" + bad + ") is not pcbin file!",
                          "<E>TIME [pcbin_las,L#] cannot open pcbin file: " + bad + "!"));
}

TEST_F(PcbinLas, FailsWhenTheLasFileCannotBeOpened) {
  EXPECT_FALSE(pcbin_las(pcbin_, "", dir_.path("no/map.las")));
  EXPECT_FALSE(pcbin_las(pcbin_, "", dir_.path()));
  const test::Lines lines = captured_.lines();
  EXPECT_EQ(std::ranges::count(lines, "<E>TIME [pcbin_las,L#] open las writer error!"), 2);
  EXPECT_THAT(lines, Not(Contains(testing::HasSubstr("las write starts"))));
}

TEST_F(PcbinLas, RefusesToOverwriteItsInputs) {
  const std::string poses = dir_.write("pgo.csv", test::poseLine(0, {}, {}));
  std::filesystem::create_symlink(pcbin_, dir_.path("soft.las"));
  std::filesystem::create_hard_link(poses, dir_.path("hard.las"));
  const std::pair<std::string, std::string> cases[] = {
      {pcbin_, pcbin_}, {dir_.path() + "/./pgo.pcbin", pcbin_}, {dir_.path("soft.las"), pcbin_},
      {poses, poses},   {dir_.path("hard.las"), poses},
  };
  for (const auto& [output, input] : cases) {
    const test::CapturedLines captured;
    EXPECT_FALSE(pcbin_las(pcbin_, poses, output));
    EXPECT_THAT(captured.lines(), ElementsAre(kOpened, "<E>TIME [pcbin_las,L#] las file(" + output +
                                                           ") is the input file(" + input +
                                                           "), choose another output!"));
  }
  EXPECT_EQ(test::readFile(pcbin_), test::rgbFile(3, 2));
  EXPECT_EQ(test::readFile(poses), test::poseLine(0, {}, {}));
}

}  // namespace

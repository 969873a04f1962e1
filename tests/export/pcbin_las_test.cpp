// Whole conversions, and those that must not begin.
#include "pcbin_las/export/pcbin_las.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using testing::ElementsAre;

const std::string kOpened = "<I>TIME [PcbReader::open] pcbin open ok, frames: 3, points: 6.";

class PcbinLas : public testing::Test {
 protected:
  test::TempDir dir_;
  const std::string pcbin_ = dir_.write("pgo.pcbin", test::rgbFile(3, 2));
  const std::string las_ = dir_.path("map.las");
  test::CapturedLines captured_;
};

TEST_F(PcbinLas, WritesTheFramesBeforeDamageAndNoPointWithoutAPose) {
  const std::string poses = dir_.write("pgo.csv", "# none\n");
  dir_.write("pgo.pcbin", test::rgbFile(3, 2).substr(0, 68 + 2 * 128 + 100));
  EXPECT_TRUE(pcbin_las(pcbin_, "", las_));
  EXPECT_EQ(test::readFile(las_).size(), 227U + 34 * 4);
  EXPECT_TRUE(pcbin_las(pcbin_, poses, las_));
  EXPECT_EQ(test::readFile(las_).size(), 227U);
}

TEST_F(PcbinLas, TouchesNothingWhenAnInputIsMissing) {
  dir_.write("map.las", "before");
  const std::string none = dir_.path("none");
  EXPECT_FALSE(pcbin_las(pcbin_, none, las_));
  EXPECT_FALSE(pcbin_las(none, none, las_));
  const std::string bad = dir_.write("bad.pcbin", std::string(68, '\0'));
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
  for (const std::string& path : {dir_.path("no/map.las"), dir_.path()}) {
    EXPECT_FALSE(pcbin_las(pcbin_, "", path));
    EXPECT_EQ(captured_.lines().back(), "<E>TIME [pcbin_las,L#] open las writer error!");
  }
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

// The command line, the questions put to the operator, and a whole conversion.
#include <filesystem>

#include <gmock/gmock.h>

#include "support/bytes.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;
using test::Lines;
using test::runTool;
using test::ToolRun;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kAnyKey = "<C>\033[33m\033[1mpress any key to quit...\033[0m";
const std::string kQuestion =
    "<C>\033[33m\033[1mlas file(map.las) exist, do you want to overwrite it? Y/N\033[0m";
const std::string kNoPoses = "<W>TIME [main,L#] pgo file(), no pgo records!";
const std::string kSuccess = "<I>TIME [main] pcbin to las success.";
const std::string kFailed = "<E>TIME [main,L#] pcbin to las failed!";

std::string opened(unsigned frames, unsigned points) {
  return "<I>TIME [PcbReader::open] pcbin open ok, frames: " + std::to_string(frames) +
         ", points: " + std::to_string(points) + ".";
}

/// A directory with a pcbin file of 2 points under the default name.
class FrontEnd : public testing::Test {
 protected:
  FrontEnd() { dir_.write("pgo.pcbin", test::rgbFile(1, 2)); }

  ToolRun run(const std::vector<std::string>& arguments, const std::string& input = "") const {
    return runTool(arguments, dir_.path(), input);
  }

  bool converted() const { return test::readFile(dir_.path("map.las")).size() == 227 + 2 * 34; }

  test::TempDir dir_;
};

TEST_F(FrontEnd, EndsOnACommandLineThatItCannotFollow) {
  EXPECT_EQ(run({"stray", "-h"}).status, 255);
  EXPECT_EQ(run({"-h", "---"}).output, "");
  const ToolRun result = run({"-i", "none"});
  EXPECT_EQ(result.status, 255);
  EXPECT_THAT(result.lines, ElementsAre("<E>TIME [main,L#] pcbin file(none) not exist!"));
}

TEST_F(FrontEnd, PrintsNothingButTheUsageTextWhenAsked) {
  const std::string p = test::toolCommand().back();
  const std::string usage =
      "\033[33m\033[1m" + p + " --repair <map.las>\n" + p +
      " [-b <pgo.pcbin>] [-v <verbose>] [-s <start>] [-n <nums>]\n" + p +
      " [-r <map.las>] [-v <verbose>] [-s <start>] [-n <nums>]\n" + p +
      " [-i <pgo.pcbin>] [-o <map.las>] [-f <pgo.csv>] [--offset <x> <y> <z>] [-h]\033[0m\n";
  for (const auto& arguments :
       {std::vector<std::string>{"-h"}, {"--help"}, {"-d", "x", "-b", "pgo.pcbin", "-h", "word"}}) {
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, usage);
  }
}

TEST_F(FrontEnd, ReportsValuesThatAreNoNumbers) {
  const struct {
    std::vector<std::string> arguments;
    std::string option, value;
  } cases[] = {
      {{"-d", "x"}, "d", "x"},
      {{"-d", "2147483648", "-v", "y"}, "d", "2147483648"},
      {{"-v", "", "-r", "map.las"}, "v", ""},
      {{"-s", "first", "-n", "all", "-b", "pgo.pcbin"}, "s", "first"},
      {{"-s", "1", "-n", "-2147483649", "-r", "map.las"}, "n", "-2147483649"},
      {{"--offset", "1", "2", "north", "4"}, "offset", "north"},
      {{"--offset", "nan", "1e999", "2"}, "offset", "nan"},
  };
  for (const auto& c : cases) {
    const ToolRun result = run(c.arguments, "Y\n\n");
    EXPECT_EQ(result.status, 255);
    EXPECT_THAT(result.lines, ElementsAre("<E>TIME [main,L#] option " + c.option + ": bad number(" +
                                          c.value + ")!"));
  }
  EXPECT_FALSE(std::filesystem::exists(dir_.path("map.las")));
  EXPECT_EQ(run({"-d", "4", "-v", "x"}).output, "");
  EXPECT_EQ(run({"-s", "x", "-n", "y"}).status, 0) << "numbers of another mode";
}

TEST_F(FrontEnd, OverwritesOnlyWhenTheAnswerIsY) {
  for (const char* const answer : {"Y", "y", " y ", "\tY\r", "Y no"}) {
    dir_.write("map.las", "before");
    const ToolRun result = run({}, std::string(answer) + "\n\n");
    EXPECT_EQ(result.status, 0);
    ASSERT_EQ(result.lines.size(), 8U) << answer;
    EXPECT_EQ(result.lines[1], kQuestion);
    EXPECT_THAT(result.lines, Contains(kSuccess));
    EXPECT_TRUE(converted());
  }
  for (const char* const input : {"yes\n", "N\n", "\nY\n", "YY\n", " \n", ""}) {
    dir_.write("map.las", "before");
    const ToolRun result = run({}, input);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.lines, ElementsAre(kNoPoses, kQuestion, "<I>TIME [main] quit."));
    EXPECT_EQ(test::readFile(dir_.path("map.las")), "before");
  }
}

TEST_F(FrontEnd, AsksUnseenWhenTheThresholdHidesPrompts) {
  dir_.write("map.las", "before");
  EXPECT_THAT(run({"-d", "2"}, "N\n").lines, ElementsAre(kNoPoses));
  EXPECT_FALSE(converted());
  EXPECT_THAT(run({"-d", "3"}, "y\n\n").lines, IsEmpty());
  EXPECT_TRUE(converted());
}

TEST_F(FrontEnd, PutsTheOffsetOptionIntoTheHeader) {
  const auto offset = [this](std::vector<std::string> values) {
    values.insert(values.begin(), "--offset");
    EXPECT_THAT(run(values, "Y\n\n").lines, Contains(kSuccess));
    const Bytes las = test::readFile(dir_.path("map.las"));
    return std::array{at<double>(las, 155), at<double>(las, 163), at<double>(las, 171)};
  };
  EXPECT_EQ(offset({"-12.5", "-.5", "1e6m"}), (std::array{-12.5, -0.5, 1e6}));
  EXPECT_EQ(offset({"1", "2", "3", "x"}), (std::array{1.0, 2.0, 3.0}));
  EXPECT_EQ(offset({"1", "2"}), (std::array{0.0, 0.0, 0.0}));
}

TEST_F(FrontEnd, SaysThatAConversionFailed) {
  EXPECT_THAT(
      run({"-f", "none.csv"}).lines,
      ElementsAre("<W>TIME [main,L#] pgo file(none.csv), no pgo records!", opened(1, 2),
                  "<E>TIME [pcbin_las,L#] cannot open pgo file: none.csv!", kFailed, kAnyKey));
  EXPECT_FALSE(std::filesystem::exists(dir_.path("map.las")));
  EXPECT_THAT(run({"-o", "pgo.pcbin"}, "Y\n\n").lines, Contains(kFailed));
  EXPECT_EQ(test::readFile(dir_.path("pgo.pcbin")), test::rgbFile(1, 2));
}

TEST_F(FrontEnd, ConvertsASurvey) {
  dir_.write("in.pcbin", test::rgbFile(25, 2));
  std::string poses = "# time,id,offset,...\n";
  for (unsigned id = 0; id < 25; ++id)
    poses += test::poseLine(id, {.position = {1, 0, 0}}, {.position = {0, 0, 0.5 * id}});
  dir_.write("poses.csv", poses);
  const ToolRun result = run({"-i", "in.pcbin", "-f", "poses.csv", "-o", "out.las"}, "\n");
  EXPECT_EQ(result.status, 0);
  Lines expected = {opened(25, 50),
                    "<I>TIME [pcbin_las] las write starts, frames: 25, points: 50, pgoResult: 25"};
  expected.insert(expected.end(), 10, "<I>TIME [write_las] refine pcl points(2) ok.");
  expected.push_back("<I>TIME [pcbin_las] las write progress: 40.0%.");
  expected.insert(expected.end(), 15, "<I>TIME [write_las] refine pcl points(2) ok.");
  expected.insert(expected.end(), {kSuccess, kAnyKey});
  EXPECT_EQ(result.lines, expected);

  Bytes records;
  for (int k = 0; k < 50; ++k) {
    const auto small = static_cast<std::uint16_t>(k);
    records += test::lasRecord({1000 * k - 1000, 1000 * k + 250, 1000 * k + 500 + 500 * (k / 2),
                                small, small, 1, 2, static_cast<double>(k)});
  }
  const Bytes las = test::readFile(dir_.path("out.las"));
  EXPECT_EQ(las.substr(227), records);
  Bytes header = test::lasHeader(50);
  test::patch<std::uint32_t>(header, 111, 50);
  header.replace(26, 68, las.substr(26, 68));  // who wrote it and when
  const double bounds[] = {1048, 999, 2049.25, 2000.25, 91.5, 30.5};
  for (std::size_t i = 0; i < 6; ++i) test::patch(header, 179 + 8 * i, bounds[i]);
  EXPECT_EQ(las.substr(0, 227), header);
}

TEST_F(FrontEnd, ShowsNoProgressWhenTheHeaderCountsNoFrames) {
  dir_.write("killed.pcbin", test::pcbHeader(0, 0) + test::rgbFile(1, 2).substr(68));
  EXPECT_THAT(run({"-i", "killed.pcbin"}).lines,
              ElementsAre(kNoPoses, opened(0, 0), testing::EndsWith("pgoResult: 0"),
                          "<I>TIME [write_las] refine pcl points(2) ok.", kSuccess, kAnyKey));
  EXPECT_TRUE(converted());
}

}  // namespace

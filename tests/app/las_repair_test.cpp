// LAS files that came to harm, and what the repair makes of them.
#include "app/las_repair.h"

#include <ctime>
#include <filesystem>
#include <regex>

#include <gmock/gmock.h>

#include "las/las_file_checks.h"
#include "support/log_lines.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

using test::at;
using test::Bytes;
using test::Lines;
using testing::ElementsAre;

const std::string kPointError = "<E>TIME [las_repair,L#] read las point error!";

/// What one repair has left behind.
struct Repaired {
  Lines lines;
  std::string name;  ///< of the new file, empty when there is none
  Bytes bytes;
};

/// The name of the one file in `directory` that is not called `known`.
std::string otherFile(const std::string& directory, const std::string& known) {
  std::string name;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.path().filename() == known) continue;
    EXPECT_EQ(name, "") << "a second new file";
    name = entry.path().filename();
  }
  return name;
}

/// Repairs a file of these contents in a directory of its own, and checks that it stays as it was.
Repaired repair(const Bytes& las, const std::string& name = "map.las") {
  const test::TempDir dir;
  const std::string path = dir.write(name, las);
  const auto before = fs::last_write_time(path) - std::chrono::hours(5);
  fs::last_write_time(path, before);
  const test::CapturedLines captured;
  las_repair(path);

  Repaired result{captured.lines(), otherFile(dir.path(), name), {}};
  if (!result.name.empty()) result.bytes = test::readFile(dir.path(result.name));
  for (std::string& line : result.lines)
    for (std::size_t at = 0; (at = line.find(dir.path(), at)) != std::string::npos;)
      line.replace(at, dir.path().size(), "DIR");
  EXPECT_EQ(test::readFile(path), las);
  EXPECT_EQ(fs::last_write_time(path), before);
  return result;
}

std::string startLine(unsigned announced) {
  return "<I>TIME [las_repair] repair DIR/map.las with " + std::to_string(announced) + " points.";
}

std::string endLine(const Repaired& result, std::size_t count) {
  return "<I>TIME [las_repair] repair ok => DIR/" + result.name + " with " + std::to_string(count) +
         " points.";
}

/// Checks a new file that holds the first `count` records of `las`, all in their places.
void expectRecordsOf(const Bytes& las, std::size_t count, const Repaired& result) {
  test::expectWholeLas(result.bytes, count);
  EXPECT_TRUE(result.bytes.substr(227) == las.substr(227, 34 * count));
  EXPECT_EQ(result.bytes.substr(155, 24), las.substr(155, 24));  // the offsets
}

Bytes announcing(std::uint32_t count, Bytes las) {
  test::patch(las, 107, count);
  return las;
}

TEST(LasRepair, CopiesTheRecordsThatAreThere) {
  const Bytes las = test::lasFile(60);
  Bytes spoilt = las;
  for (std::size_t i = 179; i < 227; ++i) spoilt[i] = '\x7F';  // the bounds
  spoilt.replace(0, 4, "XXXX");
  const struct {
    const char* damage;
    Bytes bytes;
    std::size_t count;
    bool pointError;
  } cases[] = {
      {"none", las, 60, false},
      {"bounds and signature", spoilt, 60, false},
      {"count too high", announcing(100, las), 60, false},
      {"count far too high", announcing(4294967295, las), 60, false},
      {"count too high and bytes behind", announcing(100, las) + Bytes(10, 'x'), 60, true},
      {"bytes behind", las + Bytes(10, 'x'), 60, false},
      {"count too low", announcing(50, las), 50, false},
      {"count zero", announcing(0, las), 0, false},
      {"no records", announcing(100, las).substr(0, 227), 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.damage);
    const Repaired result = repair(c.bytes);
    Lines expected = {startLine(at<std::uint32_t>(c.bytes, 107)), endLine(result, c.count)};
    if (c.pointError) expected.insert(expected.begin() + 1, kPointError);
    EXPECT_EQ(result.lines, expected);
    expectRecordsOf(c.bytes, c.count, result);
  }
}

TEST(LasRepair, KeepsTheWholeRecordsOfAFileCutAnywhere) {
  const Bytes las = test::lasFile(4);
  for (std::size_t size = 227 + 2 * 34; size < las.size(); ++size) {
    SCOPED_TRACE(size);
    const std::size_t whole = (size - 227) / 34;
    const Repaired result = repair(las.substr(0, size));
    Lines expected = {startLine(4), endLine(result, whole)};
    if (size != 227 + 34 * whole) expected.insert(expected.begin() + 1, kPointError);
    EXPECT_EQ(result.lines, expected);
    expectRecordsOf(las, whole, result);
  }
}

TEST(LasRepair, ChangesNothingInARepairedFile) {
  Bytes las = test::lasHeader(2002) + test::lasRecord({2147483647, -2147483647, 0}) +
              test::lasRecord({-2147483647 - 1, 1, -1, 65535, 65535, 1, 2, -1e300});
  for (int k = 0; k < 2000; ++k)
    las += test::lasRecord({1073741 * k - 7, -214748 * k - 3, 7919 * k, 1, 2, 3, 4, 0.1 * k});
  const Repaired once = repair(las);
  expectRecordsOf(las, 2002, once);
  const Repaired twice = repair(once.bytes, once.name);
  EXPECT_TRUE(once.bytes.substr(0, 90) == twice.bytes.substr(0, 90));
  EXPECT_TRUE(once.bytes.substr(94) == twice.bytes.substr(94));  // all but the creation date
}

TEST(LasRepair, CarriesCoordinatesOverToTheNewScaleFactorAndDropsOtherFields) {
  Bytes las = test::lasFile(2);
  for (const std::size_t scale : {131U, 139U, 147U}) test::patch(las, scale, 0.01);
  las.replace(227 + 34 + 14, 6, "\xD2\x02\x05\x07\x11\x11");
  const Repaired result = repair(las);
  EXPECT_EQ(result.bytes.substr(131, 24), test::lasHeader(0).substr(131, 24));
  EXPECT_EQ(result.bytes.substr(227), test::lasRecord({0, 0, 10, 0, 0, 2, 3, 0}) +
                                          test::lasRecord({100, -10, 20, 1, 1, 2, 3, 1}));
  test::expectWholeLas(result.bytes, 2);
}

TEST(LasRepair, RefusesAnotherShapeOfFile) {
  const auto patched = [](std::size_t offset, auto value) {
    Bytes las = test::lasFile(2);
    test::patch(las, offset, value);
    return las;
  };
  const std::string header = "<E>TIME [las_repair,L#] read las header error!";
  const std::string shape = "<E>TIME [las_repair,L#] las file not support!";
  const std::string format = "<W>TIME [las_repair,L#] unsupport las format: ";
  const std::pair<Bytes, std::string> cases[] = {
      {"", header},
      {test::lasFile(0).substr(0, 226), header},
      {patched(24, std::uint8_t{2}), shape},
      {patched(25, std::uint8_t{3}), shape},
      {patched(94, std::uint16_t{235}), shape},
      {patched(96, std::uint32_t{281}), shape},
      {patched(104, std::uint8_t{1}), format + "1!"},
      {patched(104, std::uint8_t{131}), format + "131!"},
      {patched(105, std::uint16_t{36}), format + "3!"},
  };
  for (const auto& [las, line] : cases) {
    const Repaired result = repair(las);
    EXPECT_THAT(result.lines, ElementsAre(line));
    EXPECT_EQ(result.name, "");
  }
  EXPECT_EQ(repair(patched(100, std::uint32_t{5})).lines.size(),
            2U);  // the VLR count is not tested
}

TEST(LasRepair, SaysThatItCannotReadOrWrite) {
  const test::TempDir dir;
  const test::CapturedLines captured;
  las_repair(dir.path("none.las"));
  EXPECT_THAT(captured.lines(), ElementsAre("<E>TIME [las_repair,L#] read las header error!"));
  EXPECT_TRUE(fs::is_empty(dir.path()));

  const Repaired result =
      repair(test::lasFile(1), std::string(250, 'n'));  // the new name is longer
  EXPECT_EQ(result.lines.back(), "<E>TIME [las_repair,L#] open las writer error!");
  EXPECT_EQ(result.name, "");
}

TEST(LasRepair, NamesTheNewFileByTheTimeInTheDirectoryOfTheOld) {
  const test::TempDir dir;
  dir.write("map.las", test::lasFile(3));
  const auto localTime = [] {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[32];
    std::strftime(text, sizeof(text), "%Y%m%d-%H%M%S", localtime_r(&now, &local));
    return std::string(text);
  };
  const std::string before = localTime();
  const test::ToolRun run = test::runTool({"--repair", "map.las"}, dir.path());
  const std::string after = localTime();
  EXPECT_EQ(run.status, 0);
  const std::string name = otherFile(dir.path(), "map.las");
  ASSERT_TRUE(std::regex_match(name, std::regex(R"(\d{8}-\d{6}_map\.las)"))) << name;
  EXPECT_LE(before, name.substr(0, 15));
  EXPECT_GE(after, name.substr(0, 15));
  EXPECT_THAT(run.lines,
              ElementsAre("<I>TIME [las_repair] repair map.las with 3 points.",
                          "<I>TIME [las_repair] repair ok => ./" + name + " with 3 points."));
}

}  // namespace

// LAS files that came to harm, and what the repair makes of them.
#include "pcbin_las/app/las_repair.h"

#include <ctime>
#include <filesystem>

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

/// Repairs `las` and checks that the new file holds its first `count` records in their places.
Repaired expectRepair(const Bytes& las, std::size_t count, bool pointError = false) {
  Repaired result = repair(las);
  const auto points = [](std::size_t number) {
    return " with " + std::to_string(number) + " points.";
  };
  Lines expected = {"<I>TIME [las_repair] repair DIR/map.las" + points(at<std::uint32_t>(las, 107)),
                    "<I>TIME [las_repair] repair ok => DIR/" + result.name + points(count)};
  const std::size_t beyond = (las.size() - 227) / 34 - count;
  if (beyond > 0)
    expected.insert(expected.begin() + 1,
                    "<W>TIME [las_repair,L#] " + std::to_string(beyond) +
                        " records beyond the announced count are left out!");
  if (pointError)
    expected.insert(expected.begin() + 1, "<E>TIME [las_repair,L#] read las point error!");
  EXPECT_EQ(result.lines, expected);
  test::expectWholeLas(result.bytes, count);
  EXPECT_TRUE(result.bytes.substr(227) == las.substr(227, 34 * count));
  EXPECT_EQ(result.bytes.substr(155, 24), las.substr(155, 24)) << "the offsets";
  return result;
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
    expectRepair(c.bytes, c.count, c.pointError);
  }
}

TEST(LasRepair, KeepsTheWholeRecordsOfAFileCutAnywhere) {
  const Bytes las = test::lasFile(4);
  for (std::size_t size = 227 + 2 * 34; size < las.size(); ++size) {
    SCOPED_TRACE(size);
    expectRepair(las.substr(0, size), (size - 227) / 34, (size - 227) % 34 != 0);
  }
}

TEST(LasRepair, ChangesNoCoordinate) {
  Bytes las = test::lasHeader(2002) + test::lasRecord({2147483647, -2147483647, 0}) +
              test::lasRecord({-2147483647 - 1, 1, -1, 65535, 65535, 1, 2, -1e300});
  for (int k = 0; k < 2000; ++k)
    las += test::lasRecord({1073741 * k - 7, -214748 * k - 3, 7919 * k, 1, 2, 3, 4, 0.1 * k});
  expectRepair(las, 2002);
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
  expectRepair(patched(100, std::uint32_t{5}), 2);  // the VLR count is not tested
  const Repaired longName = repair(test::lasFile(1), std::string(250, 'n'));
  EXPECT_EQ(longName.lines.back(), "<E>TIME [las_repair,L#] open las writer error!");
}

TEST(LasRepair, NamesTheNewFileByTheTimeInTheDirectoryOfTheOld) {
  const test::TempDir dir;
  dir.write("map.las", test::lasFile(3));
  const auto before = std::time(nullptr);
  EXPECT_EQ(test::runTool({"--repair", "map.las"}, dir.path()).lines.size(), 2U);
  const std::string name = otherFile(dir.path(), "map.las");
  std::tm named{};
  EXPECT_STREQ(strptime(name.c_str(), "%Y%m%d-%H%M%S", &named), "_map.las");
  named.tm_isdst = -1;
  EXPECT_GE(std::mktime(&named), before);
  EXPECT_LE(std::mktime(&named), std::time(nullptr));
}

}  // namespace

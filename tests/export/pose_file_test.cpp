// SPDX-License-Identifier: BSD-3-Clause
// Valid and invalid pose files.
#include "pcbin_las/export/pose_file.h"

#include <gmock/gmock.h>

#include "pcbin_las/process/available_memory.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

static std::uint64_t available = UINT64_MAX;

std::uint64_t ferrun::availableMemory() {  // in place of the library's
  return available;
}

namespace {

using Eigen::Vector3d;
using Eigen::Vector3f;
using testing::ElementsAre;

const std::string kNumberedLine =
    "1000.25,1,2.5,3.5,4.5,5,6,7,8,9,10,0.7071,0.12,0.13,0.14,15,16,17,18,19,20,0.61,0.22,0.23,"
    "0.24,25,26,27";

/// A line with another text in one column, and its line break.
std::string withField(std::size_t column, const std::string& field) {
  std::size_t begin = 0;
  for (std::size_t i = 0; i < column; ++i) begin = kNumberedLine.find(',', begin) + 1;
  std::string line = kNumberedLine + "\n";
  return line.replace(begin, line.find_first_of(",\n", begin) - begin, field);
}

std::string identityLine(unsigned id) {
  return test::poseLine(id, {}, {});
}

constexpr int kNone = -1;

/// The ids of the optimised poses, kNone where there is none; those of the registration poses
/// agree.
std::vector<int> ids(const norvo::PGOResultMsg& msg) {
  std::vector<int> result;
  for (std::size_t i = 0; i < msg.pgoPoses.size(); ++i) {
    EXPECT_EQ(msg.lioPoses.at(i).id, msg.pgoPoses[i].id);
    result.push_back(static_cast<int>(msg.pgoPoses[i].id));
  }
  return result;
}

class PoseFile : public testing::Test {
 protected:
  ~PoseFile() override { g_useOffset = false; }

  norvo::PGOResultMsg load(const std::string& text) {
    norvo::PGOResultMsg msg;
    EXPECT_TRUE(loadPgoFile(dir_.write("pgo.csv", text), msg));
    return msg;
  }

  test::TempDir dir_;
  test::CapturedLines captured_;
};

TEST_F(PoseFile, PutsEachColumnIntoItsField) {
  const norvo::PGOResultMsg msg = load(kNumberedLine + "\n");
  ASSERT_THAT(ids(msg), ElementsAre(-1, 1));
  EXPECT_EQ(msg.offset, Vector3d(2.5, 3.5, 4.5));
  const struct {
    norvo::PGOPoseStamped pose;
    Vector3f translation, aux1;
    Eigen::Vector4f rotation;  // x, y, z, w
    Vector3f aux2;
  } cases[] = {
      {msg.lioPoses[1], {5, 6, 7}, {8, 9, 10}, {0.12F, 0.13F, 0.14F, 0.7071F}, {0, 0, 0}},
      {msg.pgoPoses[1], {15, 16, 17}, {18, 19, 20}, {0.22F, 0.23F, 0.24F, 0.61F}, {25, 26, 27}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.pose.timestamp, 1000.25);
    EXPECT_EQ(c.pose.translation, c.translation);
    EXPECT_EQ(c.pose.aux1, c.aux1);
    EXPECT_EQ(c.pose.rotation.coeffs(), c.rotation);
    EXPECT_EQ(c.pose.aux2, c.aux2);
  }
}

TEST_F(PoseFile, IsReadForAPersonAndStrictlyForAScript) {
  const std::string zero = identityLine(0), one = kNumberedLine + "\n", five = identityLine(5);
  const std::string bare = five.substr(0, five.size() - 1);
  const std::string noPose = "pgo file(pgo.csv) gives no pose: ";
  struct Reading {
    std::vector<int> ids;
    std::string line = {};  // the end of a line printed
    unsigned skipped = 0;
  };
  const auto bad = [](int line, int column, const std::string& field) {
    return "line " + std::to_string(line) + " skipped, column " + std::to_string(column) +
           (column == 1 ? " must be a whole number from 0 to 16777215("
                        : " is not a valid number(") +
           field + ")!";
  };
  const Reading all = {{0, 1, kNone, kNone, kNone, 5}}, none = {{kNone}};
  const struct {
    std::string text;
    Reading person, script;
  } rows[] = {
      {"# time,id\n" + one + "\n" + zero + bare, all, all},
      {"\xEF\xBB\xBF" + one + zero + bare + "\r\n\r\n", all, all},
      {"\xEF\xBB\xBF#\n\ntime,id\n" + one + zero + five, all, all},
      {one + zero + " \n" + five, all, all},
      {"#" + bare + "\n" + zero, {{0}}, {{0}}},
      {zero + "#" + std::string(27, ','), {{0}}, {{0}}},
      {zero + "time,id\n", {{0}}, {{0}, "line 2 skipped, it has 2 fields, not 28!", 1}},
      {"#\n\ntime,id\nx\n" + zero, {{0}}, {{0}, "line 4 skipped, it has 1 fields, not 28!", 1}},
      {bare + ",", none, {{kNone}, noPose + "its first line has 29 fields, not 28!", 1}},
      {bare.substr(bare.find(',') + 1),
       none,
       {{kNone}, noPose + "its first line has 27 fields, not 28!", 1}},
      {withField(27, "27 \t\r"), {{kNone, 1}}, {{kNone, 1}}},
      {withField(1, "2.0") + zero, {{0, kNone, 2}}, {{0}, bad(1, 1, "2.0"), 1}},
      {withField(1, " 2 (lost)") + zero, {{0, kNone, 2}}, {{0}, bad(1, 1, " 2 (lost)"), 1}},
      {zero + withField(27, "1;2"), {{0, 1}}, {{0}, bad(2, 27, "1;2"), 1}},
      {zero + withField(0, std::string("1\0", 2)), {{0, 1}}, {{0}, bad(2, 0, "1\\x00"), 1}},
      {zero + withField(11, "2.1"),
       {{0, 1}},
       {{0}, "skipped, the norm of the registration quaternion is 2.112, not 1!", 1}},
      {zero + withField(21, "-0.25"),
       {{0, 1}},
       {{0}, "skipped, the norm of the optimised quaternion is 0.4705, not 1!", 1}},
      {"", none, {{kNone}, noPose + "it has no line with numbers!"}},
      {"time,id\n", none, {{kNone}, noPose + "its first line has 2 fields, not 28!"}},
      {"x\n1\t2\n", none, {{kNone}, noPose + "its first line has 1 fields, not 28!", 1}},
      {"1,5,0,2,5,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0\n",
       none,
       {{kNone}, noPose + "its numbers have decimal commas, but ',' separates fields!", 1}},
  };
  for (const auto& [text, person, script] : rows) {
    for (const bool strictly : {false, true}) {
      const Reading& expected = strictly ? script : person;
      SCOPED_TRACE(text + (strictly ? " strictly" : ""));
      const test::CapturedLines captured;
      norvo::PGOResultMsg msg;
      PoseFileReport report;
      const std::string path = dir_.write("pgo.csv", text);
      EXPECT_TRUE(strictly ? loadPgoFile(path, msg, report) : loadPgoFile(path, msg));
      EXPECT_EQ(ids(msg), expected.ids);
      EXPECT_EQ(report.skipped, expected.skipped);
      const test::Lines lines = captured.lines();
      ASSERT_EQ(lines.empty(), expected.line.empty());
      const bool named = std::ranges::any_of(lines, [&](std::string line) {
        if (const std::size_t at = line.find(dir_.path()); at != line.npos)
          line.erase(at, dir_.path().size() + 1);
        return line.ends_with(expected.line);
      });
      EXPECT_TRUE(named || lines.empty()) << testing::PrintToString(lines);
    }
  }
}

TEST_F(PoseFile, SkipsALineWithAnInvalidNumberAndReportsItsPlace) {
  const std::pair<std::size_t, std::string> cases[] = {
      {0, "yesterday"}, {0, "1e999"},      {1, "-1"},         {1, "16777216"},
      {1, "x"},         {1, "4294967295"}, {1, "4294967297"}, {1, "99999999999999999999"},
      {4, "nan"},       {5, ""},           {9, "1e39"},       {11, "-inf"},
      {23, "NAN(1)"},   {27, "\r"},
  };
  for (const auto& [column, field] : cases) {
    const test::CapturedLines captured;
    const norvo::PGOResultMsg msg =
        load("# comment\n" + identityLine(0) + "\n" + withField(column, field));
    EXPECT_EQ(ids(msg), std::vector{0}) << column << field;
    EXPECT_EQ(msg.offset, Vector3d(1000, 2000, 30)) << column << field;
    EXPECT_THAT(captured.lines(),
                ElementsAre("<W>TIME [pcbin_las,L#] pgo file(" + dir_.path("pgo.csv") +
                            ") line 4 skipped, column " + std::to_string(column) +
                            " is not a valid number(" + (field == "\r" ? "\\x0D" : field) + ")!"));
  }
}

TEST_F(PoseFile, UsesTheLastLineOfASweepAndTheLastOffset) {
  norvo::PGOResultMsg msg = load(withField(5, "50") + withField(15, "1e-46") + identityLine(0));
  EXPECT_EQ(msg.lioPoses[1].translation.x(), 5);
  EXPECT_EQ(msg.pgoPoses[1].translation.x(), 0);
  EXPECT_EQ(msg.offset, Vector3d(1000, 2000, 30));
  EXPECT_EQ(load("# nothing\n").offset, Vector3d(0, 0, 0));
  g_useOffset = true;
  g_offset = {-1.5, 2e6, 0.25};
  EXPECT_EQ(load(withField(2, "none")).offset, Vector3d(-1.5, 2e6, 0.25));
  msg = {};
  EXPECT_TRUE(loadPgoFile("", msg));
  EXPECT_EQ(msg.offset, Vector3d(-1.5, 2e6, 0.25));
  EXPECT_TRUE(msg.lioPoses.empty() && msg.pgoPoses.empty());
  EXPECT_TRUE(captured_.lines().empty());
}

TEST_F(PoseFile, ChecksTheMemoryForALargeSweepId) {
  const std::string start = "pgo file(" + dir_.path("pgo.csv") + ")";
  const std::string warning =
      "<W>TIME [pcbin_las,L#] " + start + " line 1: sweep id 4194304 needs 640 MiB of memory!";
  const std::string text = withField(1, "4194304");
  available = 671088960;  // what two lists of 4194305 poses and the old ones need
  EXPECT_EQ(load(text).pgoPoses.size(), 4194305U);
  EXPECT_THAT(captured_.lines(), ElementsAre(warning));
  available -= 1;
  norvo::PGOResultMsg msg;
  EXPECT_FALSE(loadPgoFile(dir_.write("pgo.csv", text), msg));
  EXPECT_THAT(captured_.lines(), ElementsAre(warning, warning,
                                             "<E>TIME [pcbin_las,L#] " + start +
                                                 ": no memory for poses up to sweep 4194304!"));
}

}  // namespace

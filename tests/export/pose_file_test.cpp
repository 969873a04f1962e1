// Valid and invalid pose files.
#include "pcbin_las/export/pose_file.h"

#include <gmock/gmock.h>

#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using Eigen::Vector3d;
using Eigen::Vector3f;
using testing::ElementsAre;
using testing::IsEmpty;

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

class PoseFile : public testing::Test {
 protected:
  ~PoseFile() override { g_useOffset = false; }

  norvo::PGOResultMsg load(const std::string& text) {
    norvo::PGOResultMsg msg;
    EXPECT_TRUE(loadPgoFile(dir_.write("pgo.csv", text), msg));
    EXPECT_EQ(msg.lioPoses.size(), msg.pgoPoses.size());
    EXPECT_TRUE(msg.extras.empty());
    return msg;
  }

  /// The ids of the optimised poses, -1 where there is none; those of the registration poses agree.
  static std::vector<std::int64_t> ids(const norvo::PGOResultMsg& msg) {
    std::vector<std::int64_t> result;
    for (std::size_t i = 0; i < msg.pgoPoses.size(); ++i) {
      const std::uint32_t id = msg.pgoPoses[i].id;
      EXPECT_EQ(msg.lioPoses[i].id, id);
      result.push_back(id == 0xFFFFFFFF ? -1 : std::int64_t{id});
    }
    return result;
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

TEST_F(PoseFile, FindsDataLinesAmongOtherLines) {
  const std::string line = identityLine(5);
  const std::string bare = line.substr(0, line.size() - 1);
  EXPECT_THAT(ids(load("# time,id\n" + identityLine(1) + "\n" + identityLine(0) + line)),
              ElementsAre(0, 1, -1, -1, -1, 5));
  EXPECT_THAT(ids(load(bare + "\r\n\r\n" + identityLine(1))), ElementsAre(-1, 1, -1, -1, -1, 5));
  EXPECT_THAT(ids(load(identityLine(0) + bare)), ElementsAre(0, -1, -1, -1, -1, 5));
  EXPECT_THAT(ids(load("  7, 1" + line.substr(line.find(",1000")))), ElementsAre(-1, 1));
  for (const std::string& skipped :
       {"#" + bare, bare + ",", bare + ",1", bare.substr(bare.find(',') + 1), std::string(),
        "#" + std::string(27, ','), std::string("x")}) {
    EXPECT_THAT(ids(load(skipped)), ElementsAre(-1)) << skipped;
    EXPECT_THAT(ids(load(skipped + "\n" + identityLine(0))), ElementsAre(0)) << skipped;
  }
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(PoseFile, UsesTheLastLineOfASweepAndTheLastOffset) {
  const norvo::PGOResultMsg msg = load(withField(5, "50") + withField(15, "150") + identityLine(0));
  EXPECT_EQ(msg.lioPoses[1].translation.x(), 5);
  EXPECT_EQ(msg.pgoPoses[1].translation.x(), 150);
  EXPECT_EQ(msg.offset, Vector3d(1000, 2000, 30));
}

TEST_F(PoseFile, TakesTheOffsetOfTheCommandLineWhenGiven) {
  EXPECT_EQ(load("# nothing\n").offset, Vector3d(0, 0, 0));
  g_useOffset = true;
  g_offset = {-1.5, 2e6, 0.25};
  EXPECT_EQ(load(withField(2, "none")).offset, Vector3d(-1.5, 2e6, 0.25));
  norvo::PGOResultMsg msg;
  EXPECT_TRUE(loadPgoFile("", msg));
  EXPECT_EQ(msg.offset, Vector3d(-1.5, 2e6, 0.25));
  EXPECT_TRUE(msg.lioPoses.empty() && msg.pgoPoses.empty());
  EXPECT_THAT(captured_.lines(), IsEmpty());
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
    EXPECT_THAT(ids(msg), ElementsAre(0)) << column << field;
    EXPECT_EQ(msg.offset, Vector3d(1000, 2000, 30)) << column << field;
    EXPECT_THAT(captured.lines(),
                ElementsAre("<W>TIME [pcbin_las,L#] pgo file(" + dir_.path("pgo.csv") +
                            ") line 4 skipped, column " + std::to_string(column) +
                            " is not a valid number(" + (field == "\r" ? "\\x0D" : field) + ")!"));
  }
}

TEST_F(PoseFile, DamageInOneLineLeavesTheOthers) {
  const std::string good = identityLine(0) + kNumberedLine + "\n";
  const std::string last = identityLine(2);
  for (std::size_t i = 0; i < last.size(); ++i) {
    std::string changed = last;
    changed[i] = static_cast<char>(~changed[i]);
    for (const std::string& damaged : {changed, last.substr(0, i)}) {
      const norvo::PGOResultMsg msg = load(good + damaged);
      ASSERT_THAT(ids(msg), testing::AnyOf(ElementsAre(0, 1), ElementsAre(0, 1, 2))) << damaged;
      EXPECT_EQ(msg.lioPoses[1].translation, Vector3f(5, 6, 7));
      EXPECT_EQ(msg.pgoPoses[1].aux2, Vector3f(25, 26, 27));
    }
  }
}

TEST_F(PoseFile, AcceptsBlanksBeforeAndTextAfterANumber) {
  EXPECT_THAT(ids(load(withField(1, " 2 (lost)"))), ElementsAre(-1, -1, 2));
  EXPECT_EQ(load(withField(5, "1e-46")).lioPoses[1].translation.x(), 0);
  EXPECT_EQ(load(withField(27, "\t-2.5m\r")).pgoPoses[1].aux2.z(), -2.5F);
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(PoseFile, IgnoresAByteOrderMark) {
  EXPECT_THAT(ids(load("\xEF\xBB\xBF" + identityLine(0))), ElementsAre(0));
  EXPECT_THAT(ids(load("\xEF\xBB\xBF#\n" + identityLine(0))), ElementsAre(0));
  EXPECT_THAT(captured_.lines(), IsEmpty());
}

TEST_F(PoseFile, ReadStrictlyCountsEveryDamagedLine) {
  const std::string good = kNumberedLine + "\n";
  const struct {
    std::string text;
    bool hasPose;
    std::uint64_t skipped;
    std::string reason;  // why the last skipped line is damaged, or why no line gives a pose
  } cases[] = {
      {good + "\r\n \n#\n", true, 0, ""},
      {withField(27, "27 \t\r"), true, 0, ""},
      {"\xEF\xBB\xBFtime,id\n" + good, true, 0, ""},
      {"#\n\ntime,id\nx\n" + good, true, 1, "line 4 skipped, it has 1 fields, not 28!"},
      {good + "time,id\n", true, 1, "line 2 skipped, it has 2 fields, not 28!"},
      {withField(1, "2.0") + good, true, 1, "line 1 skipped, column 1 is not a valid number(2.0)!"},
      {good + withField(27, "1;2"), true, 1,
       "line 2 skipped, column 27 is not a valid number(1;2)!"},
      {good + withField(0, std::string("1\0", 2)), true, 1,
       "line 2 skipped, column 0 is not a valid number(1\\x00)!"},
      {good + withField(11, "2.1"), true, 1, "registration quaternion is 2.112, not 1!"},
      {good + withField(21, "-0.25"), true, 1, "optimised quaternion is 0.4705, not 1!"},
      {"", false, 0, "it has no line with numbers"},
      {"time,id\n", false, 0, "its first line has 2 fields, not 28"},
      {"x\n1\t2\n", false, 1, "its first line has 1 fields, not 28"},
      {"1,5,0,2,5,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0,1,0\n", false, 1,
       "its numbers have decimal commas, but ',' separates fields"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    norvo::PGOResultMsg msg;
    PoseFileReport report;
    const std::string path = dir_.write("pgo.csv", c.text);
    EXPECT_TRUE(loadPgoFile(path, msg, report));
    EXPECT_EQ(report.skipped, c.skipped);
    EXPECT_EQ(msg.pgoPoses.size() > 1, c.hasPose);
    if (c.skipped > 0 && c.hasPose)
      EXPECT_THAT(captured_.lines().back(), testing::EndsWith(c.reason));
    else
      EXPECT_EQ(report.whyNoPose, c.reason);
  }
}

TEST_F(PoseFile, WarnsBeforeALargeSweepIdTakesMuchMemory) {
  EXPECT_EQ(load(withField(1, "4194304")).pgoPoses.size(), 4194305U);
  EXPECT_THAT(captured_.lines(),
              ElementsAre("<W>TIME [pcbin_las,L#] pgo file(" + dir_.path("pgo.csv") +
                          ") line 1: sweep id 4194304 needs 640 MiB of memory!"));
}

}  // namespace

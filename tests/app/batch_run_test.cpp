// SPDX-License-Identifier: BSD-3-Clause
// Runs with --batch: exit status, last line and target, with all kinds of faults.
#include <cstdlib>
#include <regex>
#include <sys/wait.h>

#include <gmock/gmock.h>

#include "pcbin_las/app/batch.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/singleton.h"
#include "support/bytes.h"
#include "support/fault_injection.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

constexpr unsigned kFrames = 60;
const std::string kBefore = "last night's map";

/// A directory with an intact survey and an existing map.
class Survey {
 public:
  Survey() {
    std::string poses;
    for (unsigned id = 0; id < kFrames; ++id)
      poses += test::poseLine(id, {.position = {0.5, 0, 0}}, {.position = {0, 0, 0.5}});
    dir_.write("pgo.pcbin", test::rgbFile(kFrames, 2));
    dir_.write("pgo.csv", poses);
    dir_.write("map.las", kBefore);
    dir_.write("lidar.pcbin", test::pcbHeader(1, 1) + test::irtFrame(0, 0, {{}}));
    dir_.write("unclosed.pcbin", test::pcbHeader(0, 0) + test::rgbFile(kFrames, 2).substr(68));
    dir_.write("empty.pcbin", test::pcbHeader(0, 0));
    dir_.write("large.pcbin",
               test::pcbHeader(1, 4'000'000) + test::frameHeader(10, 0, 0, 4'000'000));
  }

  /// Runs a shell script in the directory and returns its exit status. In it, `run` converts with
  /// --batch, and `$T` is the program.
  int shell(const std::string& script) const {
    std::string tool;
    for (const std::string& word : test::toolCommand()) tool += word + " ";
    std::string command = "cd '" + dir_.path() + "' && T='" + tool + "'\n";
    command += "run() { $T --batch -f pgo.csv";
    command += hasSummary() ? " --summary s.json" : "";
    command += " \"$@\" > out 2> err < /dev/null; }\n";
    command +=
        "until_started() { until ls .map.las.*.part > /dev/null 2>&1; do sleep 0.05; done; }\n";
    const int status = std::system((command + script).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string text(const std::string& name) const { return test::readFile(dir_.path(name)); }
  bool wasReplaced() const { return text("map.las") != kBefore; }
  std::string path(const std::string& name) const { return dir_.path(name); }

  bool hasLitter() const {
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
      if (entry.path().extension() == ".part") return true;
    return false;
  }

 private:
  test::TempDir dir_;
};

std::string lastLine(const std::string& output) {
  return output.empty() ? output : output.substr(output.rfind('\n', output.size() - 2) + 1);
}

std::string counts(int status, const std::string& rest) {
  return "batch: status=" + std::to_string(status) + " " + rest + "\n";
}

TEST(Batch, EndsWithTheStatusOfWhatWasWritten) {
  const struct {
    const char* name;
    const char* script;
    int status;
  } rows[] = {
      {"intact", "run", 0},
      {"separated by ;",
       "sed -i 's/,/;/g' pgo.csv; run; s=$?; grep -q \"separated by ';', not\" out "
       "&& exit $s",
       2},
      {"; and decimal commas",
       "sed -i 's/,/.0;/g; s/[.]/,/g' pgo.csv; run; s=$?; grep -q 'decimal commas' out && exit $s",
       2},
      {"UTF-16",
       "iconv -t UTF-16 pgo.csv > p && mv p pgo.csv; run; s=$?; "
       "grep -q 'UTF-16 text' out && exit $s",
       2},
      {"wrong number of fields",
       "sed -i 's/,[^,]*$//' pgo.csv; run; s=$?; "
       "grep -q 'first line has 27 fields' out && exit $s",
       2},
      {"cut after 19 sweeps", "head -n 19 pgo.csv > p && mv p pgo.csv; run", 1},
      {"byte order mark", "(printf '\\357\\273\\277'; cat pgo.csv) > p && mv p pgo.csv; run", 0},
      {"title, comment and empty line",
       "(echo 'time,id'; echo '#'; echo; sed 's/$/\\r/' pgo.csv) > p && mv p pgo.csv; run", 0},
      {"two titles", "(echo a; echo b; cat pgo.csv) > p && mv p pgo.csv; run", 1},
      {"last line cut", "truncate -s -30 pgo.csv; run", 1},
      {"no pose file named", "$T --batch > out; s=$?; grep -q 'pgo file(), no pgo' out && exit $s",
       0},
      {"pose file missing", "rm pgo.csv; run", 2},
      {"pcbin cut within a frame", "truncate -s -1 pgo.pcbin; run", 1},
      {"pcbin cut at a frame's end", "truncate -s -128 pgo.pcbin; run", 1},
      {"header of an unclosed recording", "run -i unclosed.pcbin", 0},
      {"no frame", "run -i empty.pcbin", 2},
      {"lidar frames", "run -i lidar.pcbin", 2},
      {"no pcbin file at all", "run -i pgo.csv", 2},
      {"pcbin missing", "run -i none", 2},
      {"full disk", "ulimit -f 8; run", 2},
      {"output folder missing", "run -o none/map.las", 2},
      {"target a device", "run -o /dev/null", 2},
      {"target a folder", "run -o .", 2},
      {"target the pcbin file",
       "cp pgo.pcbin b; run -o ./pgo.pcbin; s=$?; cmp pgo.pcbin b && exit $s", 2},
      {"target the pose file",
       "cp pgo.csv b; ln -s pgo.csv l; run -o l; s=$?; cmp pgo.csv b && "
       "exit $s",
       2},
      {"summary the pcbin file",
       "cp pgo.pcbin b; $T --batch --summary pgo.pcbin > out; s=$?; "
       "cmp pgo.pcbin b && exit $s",
       2},
      {"summary the LAS file", "$T --batch --summary ./map.las > out", 2},
      {"summary without a folder", "$T --batch --summary none/s.json > out", 1},
      {"read error in the pose file", "$T --batch -f /proc/self/mem > out", 2},
      {"standard input left alone",
       "echo unread | { $T --batch > out; s=$?; grep -q unread && exit $s; }", 0},
      {"killed by SIGTERM",
       "mkfifo in; (exec $T --batch -i in > out) & exec 3> in; until_started; "
       "kill -TERM $!; wait $!; test $? = 143 && echo 'batch: status=2 ' > out; exit 2",
       2},
      {"killed by SIGKILL, and the next run that fails",
       "mkfifo in; (exec $T --batch -i in > out) & exec 3> in; until_started; kill -KILL $!; "
       "wait $!; ls .map.las.*.part > /dev/null || exit 9; run -i empty.pcbin",
       2},
      {"nohup and SIGHUP",
       "mkfifo in; (trap '' HUP; exec $T --batch -i in > out) & exec 3> in; "
       "until_started; kill -HUP $!; sleep 0.1; cat pgo.pcbin >&3; exec 3>&-; wait $!",
       0},
      {"two runs on one target",
       "mkfifo in1 in2; $T --batch -i in1 > out1 & a=$!; exec 3> in1; until_started; "
       "$T --batch -i in2 > out & b=$!; cat pgo.pcbin > in2; wait $b || exit 9; "
       "cat pgo.pcbin >&3; exec 3>&-; wait $a",
       0},
      {"picture without a folder", "run --picture none/p.png", 1},
      {"picture of no point", "run --picture p.png --zoom 0 0 1; s=$?; test -e p.png || exit $s",
       1},
      {"picture the pose file",
       "cp pgo.csv b; run --picture pgo.csv; s=$?; cmp pgo.csv b && exit $s", 2},
      {"picture the LAS file", "run --picture ./map.las", 2},
      {"picture the summary", "$T --batch --summary p.png --picture p.png > out", 2},
      {"picture of a map", "run --picture p.png; s=$?; grep -q IEND p.png && exit $s", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    if (!hasSummary() && std::string(row.script).find("--summary") != std::string::npos) continue;
    if (!picture::isSupported() && std::string(row.name).starts_with("picture")) continue;
    const Survey survey;
    EXPECT_EQ(survey.shell(row.script), row.status) << survey.text("out") << survey.text("err");
    EXPECT_THAT(lastLine(survey.text("out")),
                testing::StartsWith("batch: status=" + std::to_string(row.status) + " "));
    EXPECT_EQ(survey.wasReplaced(), row.status != 2);
    if (survey.wasReplaced()) {
      EXPECT_EQ((survey.text("map.las").size() - 227) % 34, 0U);
    }
    EXPECT_FALSE(survey.hasLitter());
    EXPECT_EQ(survey.text("err"), "");
  }
}

TEST(Batch, CountsWhatItReadsAndLeavesOut) {
  const struct {
    const char* script;
    std::string line;
  } rows[] = {
      {"run -d 4 && test $(wc -l < out) = 1",
       counts(0,
              "read=120 written=120 no_pose=0 refused=0 pose_lines_skipped=0 frames=60/60 "
              "points=120/120")},
      {"sed -i '20s/,/;/; 21s/,/, ,/; 22,60d' pgo.csv; truncate -s -41 pgo.pcbin; run",
       counts(1,
              "read=118 written=38 no_pose=80 refused=0 pose_lines_skipped=2 frames=59/60 "
              "points=118/120")},
      {"run -i none", counts(2,
                             "read=0 written=0 no_pose=0 refused=0 pose_lines_skipped=0 "
                             "frames=0/0 points=0/0")},
  };
  for (const auto& row : rows) {
    const Survey survey;
    survey.shell(row.script);
    EXPECT_EQ(lastLine(survey.text("out")), row.line);
  }
}

TEST(Picture, OfAViewedFileIsWrittenWholeOrNotAtAll) {
  if (!picture::isSupported()) GTEST_SKIP() << "this build has no option --picture";
  const Survey survey;
  const std::string view = "$T --batch > out; cp map.las b; $T -r map.las --picture ";
  EXPECT_EQ(survey.shell(view + "p.png > out; s=$?; grep -q IEND p.png && exit $s"), 0);
  EXPECT_EQ(survey.shell(view + "none/p.png > out"), 1);
  EXPECT_THAT(lastLine(survey.text("out")), testing::StartsWith("<E>"));
  EXPECT_EQ(survey.shell(view + "map.las > out; s=$?; cmp map.las b && exit $s"), 1);
  EXPECT_EQ(survey.shell(view + "q.png -d 4 --zoom 0 0 0; s=$?; test -e q.png || exit $s"), 1);
  EXPECT_EQ(survey.shell("$T -r none --picture q.png > out"), 1);
}

TEST(Batch, WritesItsOutcomeAsJson) {
  if (!hasSummary()) GTEST_SKIP() << "this build has no option --summary";
  const Survey survey;
  const auto summary = [&survey](const std::string& script) {
    survey.shell(script);
    return std::regex_replace(survey.text("s.json"), std::regex("\\s+"), "");
  };
  EXPECT_THAT(
      summary("run -d 4 -i \"$(printf 'a\\377')\""),
      testing::AllOf(testing::StartsWith("{\"status\":2,\"input\":\"a\xEF\xBF\xBD\","),
                     testing::HasSubstr("\"bounds\":null,"), testing::HasSubstr("notexist!\"}")));
  EXPECT_THAT(
      summary("run"),
      testing::MatchesRegex(
          "\\{\"status\":0,\"input\":\"pgo.pcbin\",\"poses\":\"pgo.csv\",\"output\":\"map.las\","
          "\"picture\":null,\"epsg\":null,\"read\":120,\"written\":120,\"no_pose\":0,\"refused\":0,"
          "\"pose_lines_skipped\":0,"
          "\"frames\":\\{\"found\":60,\"announced\":60\\},"
          "\"points\":\\{\"found\":120,\"announced\":120\\},"
          "\"bounds\":\\{\"min\":\\[999.5,2000.25,31.0\\],\"max\":\\[1118.5,2119.25,150.0\\]\\},"
          "\"offset\":\\[1000.0,2000.0,30.0\\],\"seconds\":[0-9.e-]+,\"version\":\"[0-9.]+\","
          "\"first_error\":null\\}"));
}

TEST(Batch, WritesNothingWhenTheDeviceOrTheMemoryFails) {
  const Survey survey;
  const auto tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  const auto sink = std::make_shared<BatchSink>(4);
  tracer->addSink(sink);
  tracer->start();
  Conversion conversion;
  conversion.pcbinPath = survey.path("pgo.pcbin");
  conversion.pgoPath = survey.path("pgo.csv");
  conversion.lasPath = survey.path("map.las");
  for (const auto& [name, end] : {std::pair{"pgo.pcbin", 5000}, {"pgo.csv", 3000}}) {
    const test::FaultyFile faulty(survey.path(name), {.end = end});
    EXPECT_EQ(batch_convert(conversion, {}, *sink), kNothingWritten) << name;
    EXPECT_THAT(sink->firstError(), testing::HasSubstr("read error"));
  }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  if (test::toolCommand().size() == 1) {
    std::filesystem::resize_file(survey.path("large.pcbin"), 68 + 48 + 40 * 4'000'000);
    EXPECT_EQ(survey.shell("ulimit -v 150000; run -i large.pcbin"), 2) << survey.text("out");
    EXPECT_THAT(survey.text("out"), testing::HasSubstr("no memory for a frame"));
  }
#endif
  EXPECT_FALSE(survey.wasReplaced());
  EXPECT_FALSE(survey.hasLitter());
}

}  // namespace

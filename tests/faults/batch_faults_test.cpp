// SPDX-License-Identifier: BSD-3-Clause
// Runs with --batch, with summary and picture, over those of a former run: failing calls, full
// disks and kills. Map, summary and picture always belong together.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "faults/sweep.h"
#include "pcbin_las/app/batch.h"
#include "pcbin_las/platform/singleton.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;
using test::Call;
using test::Fault;

constexpr int kOutOfMemory = 255;  // what main() makes of an exception

/// Passes lines to the sink of the present run.
struct CurrentSink : ferrun::TracerSink {
  void writeLines(int level, const char* lines, std::size_t size) override {
    if (sink != nullptr) sink->writeLines(level, lines, size);
  }
  BatchSink* sink = nullptr;
};

CurrentSink& currentSink() {
  static const auto sink = [] {
    auto made = std::make_shared<CurrentSink>();
    ferrun::printLinesTo(made);
    return made;
  }();
  return *sink;
}

/// Standard output, read from a pipe, which no limit of file sizes affects.
class CapturedOutput {
 public:
  CapturedOutput() {
    if (pipe2(ends_, O_NONBLOCK) != 0) throw std::runtime_error("no pipe");
    former_ = dup(STDOUT_FILENO);
    dup2(ends_[1], STDOUT_FILENO);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;
  ~CapturedOutput() {
    restore();
    close(ends_[0]);
    close(ends_[1]);
  }

  std::string end() {
    restore();
    char text[4096];
    const ssize_t size = read(ends_[0], text, sizeof(text));
    return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
  }

 private:
  void restore() {
    if (former_ < 0) return;
    dup2(former_, STDOUT_FILENO);
    close(former_);
    former_ = -1;
  }

  int ends_[2] = {-1, -1};
  int former_ = -1;
};

/// The JSON text of a member, up to the end of its line.
std::string member(const std::string& json, const std::string& key) {
  const std::string start = "\"" + key + "\": ";
  const std::size_t begin = json.find(start);
  if (begin == json.npos) return "";
  return json.substr(begin + start.size(), json.find_first_of(",\n", begin) - begin - start.size());
}

class BatchFaults : public testing::Test {
 protected:
  BatchFaults() {
    wanted_.pcbinPath = dir_.write("a.pcbin", test::rgbFile(2, 8));
    wanted_.pgoPath = dir_.write("pgo.csv", test::poseLine(0, {}, {}) + test::poseLine(1, {}, {}));
    wanted_.lasPath = dir_.path("map.las");
    outputs_.summaryPath = dir_.path("s.json");
    outputs_.picturePath = dir_.path("map.png");
    outputs_.picture.size = picture::kSmallestSize;
    runUndisturbed();
  }

  void runUndisturbed() {
    EXPECT_EQ(run({}), 0);
    map_ = test::readFile(wanted_.lasPath);
    picture_ = test::readFile(outputs_.picturePath);
  }

  void sweep() {
    test::sweep([this](const std::vector<Fault>& faults) {
      prepare();
      const int status = run(faults);
      check(false, status);
      EXPECT_TRUE(!faults.empty() || status == 0);
    });
  }

  void prepare() const {
    for (const char* const name : {"map.las", "s.json", "map.png"}) dir_.write(name, "old");
  }

  /// The exit status of a run; sets what it prints.
  int run(const std::vector<Fault>& faults) {
    BatchSink sink(ferrun::kLevelError + 1);
    currentSink().sink = &sink;
    CapturedOutput output;
    const int status = test::runWith(
        faults, [&] { return int{batch_convert(wanted_, outputs_, sink)}; }, kOutOfMemory);
    printed_ = output.end();
    currentSink().sink = nullptr;
    return status;
  }

  /// Checks the outputs after a run over old ones.
  void check(bool killed, int status = 0) const {
    const Bytes map = test::readFile(wanted_.lasPath);
    const Bytes picture = test::readFile(outputs_.picturePath);
    const Bytes summary = test::readFile(outputs_.summaryPath);
    const bool old = map == "old";
    EXPECT_TRUE(old || (map.size() == map_.size() && map.substr(94) == map_.substr(94)));
    EXPECT_TRUE(picture.empty() || (old && picture == "old") || picture == picture_);
    EXPECT_TRUE(old || summary != "old") << "a new map beside an old summary";
    const bool vouched = !summary.empty() && summary != "old" && member(summary, "map") != "null";
    if (vouched) checkSummary(summary, map, picture);
    if (killed) return;
    EXPECT_THAT(dir_.names(), testing::Each(testing::Not(testing::EndsWith(".part"))));
    EXPECT_EQ(old, status == kNothingWritten || status == kOutOfMemory) << status;
    const bool told = printed_.starts_with("batch: status=") && printed_.ends_with("\n");
    EXPECT_TRUE(told || status != 0);
    if (status == 0) {
      EXPECT_TRUE(picture == picture_);
      EXPECT_EQ(member(summary, "status"), "0");
    } else if (vouched && told) {
      EXPECT_NE(member(summary, "status"), "0");
    }
  }

  void checkSummary(const Bytes& summary, const Bytes& map, const Bytes& picture) const {
    struct stat status {};
    ASSERT_EQ(stat(wanted_.lasPath.c_str(), &status), 0);
    char modified[64];
    std::snprintf(modified, sizeof(modified), "%lld.%09ld",
                  static_cast<long long>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec);
    EXPECT_EQ(member(summary, "bytes"), std::to_string(map.size()));
    EXPECT_EQ(member(summary, "records"), std::to_string(at<std::uint32_t>(map, 107)));
    EXPECT_EQ(member(summary, "modified"), modified);
    EXPECT_TRUE(member(summary, "status") != "0" || picture == picture_);
  }

  test::TempDir dir_;
  Conversion wanted_;
  BatchOutputs outputs_;
  Bytes map_;
  Bytes picture_;
  std::string printed_;
};

TEST_F(BatchFaults, StatusSummaryAndOutputsAgreeAfterFailingCalls) {
  sweep();
}

TEST_F(BatchFaults, StatusSummaryAndOutputsAgreeWithACompressedMapAndAComparison) {
  wanted_.compress = true;
  outputs_.compare = true;
  dir_.write("pgo.csv", test::poseLine(0, {}, {}) + test::poseLine(1, {}, {.position = {1, 2, 3}}));
  runUndisturbed();
  sweep();
}

TEST_F(BatchFaults, StatusSummaryAndOutputsAgreeOnDisksOfAnySize) {
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  std::vector<int> seen;
  for (rlim_t size = 0; size < picture_.size() + 500; size += size < 2000 ? 97 : 701) {
    SCOPED_TRACE(size);
    prepare();
    const rlimit limit{size, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    seen.push_back(run({}));
    setrlimit(RLIMIT_FSIZE, &former);
    check(false, seen.back());
  }
  std::signal(SIGXFSZ, handler);
  EXPECT_TRUE(std::ranges::is_sorted(seen, std::greater()));
  EXPECT_EQ(seen.front(), kNothingWritten);
  EXPECT_GT(std::ranges::count(seen, kSomethingMissing), 3);
  EXPECT_EQ(seen.back(), kEverythingWritten);
}

TEST_F(BatchFaults, AKilledRunLeavesOutputsThatBelongTogether) {
  unsigned without = 0;  // kills between the removal of the old summary and the new one
  for (const Call call : {Call::kOpen, Call::kWrite, Call::kTruncate, Call::kSync, Call::kClose,
                          Call::kRename, Call::kUnlink}) {
    for (unsigned number = 1;; ++number) {
      SCOPED_TRACE(testing::Message() << static_cast<int>(call) << ", number " << number);
      prepare();
      const pid_t child = fork();
      if (child == 0) _exit(run({{call, number, false, 0, true}}));
      int status = 0;
      waitpid(child, &status, 0);
      if (WIFEXITED(status)) break;
      ASSERT_EQ(WTERMSIG(status), SIGKILL);
      check(true);
      without += test::readFile(outputs_.summaryPath).empty();
      ASSERT_LT(number, 200U);
    }
    EXPECT_EQ(run({}), 0);
    EXPECT_THAT(dir_.names(),
                testing::ElementsAre("a.pcbin", "map.las", "map.png", "pgo.csv", "s.json"));
    if (HasFailure()) return;
  }
  EXPECT_GT(without, 5U);
}

TEST_F(BatchFaults, AFolderThatTakesNoReportIsFoundBeforeTheConversion) {
  if (geteuid() != 0) GTEST_SKIP() << "root may write to every folder";
  for (const auto& [mode, old, expected] : {std::tuple{01777, true, kNothingWritten},
                                            {0755, true, kNothingWritten},
                                            {0755, false, kSomethingMissing}}) {
    SCOPED_TRACE(testing::Message() << mode << old);
    const test::TempDir reports;
    outputs_.summaryPath = reports.path("s.json");
    outputs_.picturePath.clear();
    if (old) reports.write("s.json", "old");
    chmod((reports.path() + "/s.json").c_str(), 0666);
    chmod(reports.path().c_str(), static_cast<mode_t>(mode));
    chmod(dir_.path().c_str(), 0777);
    prepare();
    chmod(wanted_.lasPath.c_str(), 0666);
    const pid_t child = fork();
    if (child == 0) {
      const test::CapturedLines lines;
      if (setgid(65534) != 0 || setuid(65534) != 0) _exit(9);
      const int status = run({});
      const auto started = [](const std::string& line) {
        return line.find("las write starts") != line.npos;
      };
      const bool converted = std::ranges::any_of(lines.lines(), started);
      _exit(converted == (status == kNothingWritten) ? 8 : status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), expected);
    EXPECT_EQ(test::readFile(wanted_.lasPath) == "old", expected == kNothingWritten);
    EXPECT_EQ(test::readFile(outputs_.summaryPath), old ? "old" : "");
  }
}

}  // namespace

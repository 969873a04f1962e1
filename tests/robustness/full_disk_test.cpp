// Disks that are full or become full, and transfers that come back short or interrupted.
#include <cerrno>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <gmock/gmock.h>

#include "pcbin_las/export/pcbin_las.h"
#include "las/las_file_checks.h"
#include "robustness/sparse_survey.h"
#include "support/faulty_io.h"
#include "support/log_lines.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

using test::Bytes;
using test::Lines;
using testing::Contains;
using testing::HasSubstr;

constexpr std::size_t kBufferRecords = (32U << 20) / 34;
const std::string kFailed = "<E>TIME [main,L#] pcbin to las failed!";

/// Files of this process, and of those that it starts, cannot grow beyond `size` bytes.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(std::size_t size) {
    getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit limit{size, former_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &former_); }

 private:
  rlimit former_{};
};

/// Checks that the one write error in `lines` names the file and the reason.
void expectOneWriteError(const Lines& lines, const std::string& path, const std::string& reason) {
  EXPECT_THAT(lines, Contains("<E>TIME [File::writeData,L#] file(" + path +
                              ") write error: " + reason + "!"));
  EXPECT_EQ(std::ranges::count_if(
                lines, [](const auto& line) { return line.find(" write error: ") != line.npos; }),
            1);
}

/// A directory with a survey whose LAS file takes more than one write buffer.
class FullDisk : public testing::Test {
 protected:
  FullDisk() { test::writeSparseSurvey(dir_.path("pgo.pcbin"), 60, 20000); }

  /// The name of the one file that is neither the survey nor its LAS file.
  std::string repairedFile() const {
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
      if (entry.path().filename().string().ends_with("_map.las")) return entry.path().filename();
    return {};
  }

  test::TempDir dir_;
};

TEST_F(FullDisk, LeavesAWholeLasFileOfWhatFitted) {
  for (const std::size_t limit : {227U, 227U + 34 * 1000 + 33, 227U + 34 * 1'000'000 + 1}) {
    SCOPED_TRACE(limit);
    Lines lines;
    {
      const FileSizeLimit full(limit);
      lines = test::runTool({}, dir_.path(), "Y\n\n").lines;
    }
    expectOneWriteError(lines, "map.las", "File too large");
    test::expectWholeLas(test::readFile(dir_.path("map.las")), (limit - 227) / 34);
  }

  ASSERT_EQ(test::runTool({}, dir_.path(), "Y\n\n").status, 0);
  Lines lines;
  {
    const FileSizeLimit full(227 + 34 * kBufferRecords + 100);
    lines = test::runTool({"--repair", "map.las"}, dir_.path()).lines;
  }
  const std::string name = repairedFile();
  expectOneWriteError(lines, "./" + name, "File too large");
  test::expectWholeLas(test::readFile(dir_.path(name)), kBufferRecords + 2);
}

TEST_F(FullDisk, IsToldWhenNotEvenAHeaderFits) {
  const Lines lines = test::runTool({"-o", "/dev/full"}, dir_.path(), "Y\n\n").lines;
  expectOneWriteError(lines, "/dev/full", "No space left on device");
  EXPECT_THAT(lines, Contains(kFailed));
  const FileSizeLimit full(100);
  EXPECT_THAT(test::runTool({}, dir_.path(), "\n").lines, Contains(kFailed));
}

/// A file system of `size` in memory, mounted on a new directory for this process alone.
class SmallDisk {
 public:
  explicit SmallDisk(const char* size) {
    works_ = unshare(CLONE_NEWNS) == 0 &&
             mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
             mount("tmpfs", dir_.path().c_str(), "tmpfs", 0, size) == 0;
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  ~SmallDisk() {
    if (works_) umount2(dir_.path().c_str(), MNT_DETACH);
  }
  bool works() const { return works_; }
  std::string path(const std::string& name) const { return dir_.path(name); }

 private:
  test::TempDir dir_;
  bool works_;
};

TEST_F(FullDisk, OfARealFileSystemLeavesAWholeLasFile) {
  const SmallDisk disk("size=36m");
  if (!disk.works()) GTEST_SKIP() << "only root can mount a small file system";
  const std::string path = disk.path("map.las");
  const Lines lines = test::runTool({"-o", path}, dir_.path(), "\n").lines;
  expectOneWriteError(lines, path, "No space left on device");
  const Bytes las = test::readFile(path);
  EXPECT_GT(las.size(), 227 + 34 * kBufferRecords);
  test::expectWholeLas(las, (las.size() - 227) / 34);
}

TEST_F(FullDisk, ShortAndInterruptedTransfersChangeNothing) {
  const std::string pcbin = dir_.write("small", test::rgbFile(20, 5000));
  std::string lines;
  for (unsigned id = 0; id < 20; ++id) lines += test::poseLine(id, {}, {.position = {1, 2, 3}});
  const std::string poses = dir_.write("pgo.csv", lines);
  const std::string las = dir_.path("map.las");
  ASSERT_TRUE(pcbin_las(pcbin, poses, las));
  const Bytes expected = test::readFile(las);
  for (const std::string& path : {pcbin, poses, las}) {
    const test::FaultyFile faulty(path, {.longestTransfer = 997, .everyOther = EINTR});
    ASSERT_TRUE(pcbin_las(pcbin, poses, las));
    EXPECT_TRUE(test::readFile(las) == expected) << path;
  }
  for (const std::int64_t end : {227, 228, 34'000, 3'000'000}) {
    const test::CapturedLines captured;
    {
      const test::FaultyFile full(las,
                                  {.longestTransfer = 100'003, .everyOther = EINTR, .end = end});
      pcbin_las(pcbin, poses, las);
    }
    expectOneWriteError(captured.lines(), las, "No space left on device");
    test::expectWholeLas(test::readFile(las), static_cast<std::size_t>(end - 227) / 34);
  }
}

}  // namespace

// What is on the disk after the program was killed.
#include <csignal>
#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "las/las_file_checks.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "robustness/sparse_survey.h"
#include "support/run_tool.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;

constexpr std::size_t kBufferRecords = (32U << 20) / 34;

std::size_t fileSize(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::size_t>(status.st_size) : 0;
}

/// Starts a conversion in `directory`, without input or output.
pid_t startTool(const std::string& directory) {
  std::string command = "cd " + directory + " && exec";
  for (const std::string& word : test::toolCommand()) command += " " + word;
  command += " </dev/null >/dev/null";
  const pid_t child = fork();
  if (child == 0) execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  return child;
}

/// Sends `signal` once the file at `path` has `size` bytes; false when the process ended before.
bool killWhenFileHas(pid_t child, int signal, const std::string& path, std::size_t size) {
  int status = 0;
  while (fileSize(path) < size) {
    if (waitpid(child, &status, WNOHANG) == child) return false;
    usleep(100);
  }
  kill(child, signal);
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == signal;
}

TEST(SuddenDeath, LeavesALasFileWholeUpToItsCount) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer takes minutes for what it cannot judge";
#endif
  constexpr unsigned kFrames = 120, kPoints = 20000;  // 2.4 write buffers
  const test::TempDir dir;
  test::writeSparseSurvey(dir.path("pgo.pcbin"), kFrames, kPoints);
  const std::string path = dir.path("map.las");
  unsigned killed = 0;
  std::size_t mostRecords = 0;
  for (std::size_t k = 0; k < 12; ++k) {
    SCOPED_TRACE(k);
    std::filesystem::remove(path);
    const std::size_t moment = 227 + k * 34 * kFrames * kPoints / 12;
    const int signal = k % 3 == 0 ? (k % 2 == 0 ? SIGINT : SIGTERM) : SIGKILL;
    killed += killWhenFileHas(startTool(dir.path()), signal, path, moment);

    Bytes las = test::readFile(path);
    ASSERT_GE(las.size(), 227U);
    const std::size_t count = at<std::uint32_t>(las, 107);
    const std::size_t onDisk = (las.size() - 227) / 34;
    ASSERT_LE(count, onDisk);
    EXPECT_LE(onDisk - count, kBufferRecords) << "at most the last buffer is not counted";
    las.resize(227 + 34 * count);
    test::expectWholeLas(las, count);
    mostRecords = std::max(mostRecords, count);

    const test::ToolRun run = test::runTool({"--repair", "map.las"}, dir.path());
    std::smatch name;
    const std::regex done(" with (\\d+) points.\\n(?:<W>.*\\n)?.* repair ok => ./(\\d+-\\d+_map.las) with \\1 ");
    ASSERT_TRUE(std::regex_search(run.output, name, done)) << run.output;
    EXPECT_TRUE(test::readFile(dir.path(name[2])).substr(94) == las.substr(94));
    std::filesystem::remove(dir.path(name[2]));
  }
  EXPECT_GE(killed, 6U) << "most runs must not have come to their end";
  EXPECT_GE(mostRecords, 2 * kBufferRecords);
}

TEST(SuddenDeath, LeavesTheFramesOfAPcbinFileReadable) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer allows no threads after fork()";
#endif
  const test::TempDir dir;
  const std::string path = dir.path("a");
  for (const std::size_t moment : {68U, 1'000'000U, 5'000'000U}) {
    const pid_t child = fork();
    if (child == 0) {
      modeling_app::PcbWriter writer;
      if (!writer.open(path, 64U << 10)) _exit(1);
      const auto cloud = std::make_shared<norvo::RgbCloud>();
      cloud->points.resize(100);
      for (unsigned sent = 0;; ++sent) {
        writer.writePcl(cloud);
        while (sent > writer.totalFrames() + 1000) usleep(100);
      }
    }
    EXPECT_TRUE(killWhenFileHas(child, SIGKILL, path, moment));
    const std::size_t size = fileSize(path);
    modeling_app::PcbReader reader;
    ASSERT_TRUE(reader.open(path, 0));
    EXPECT_EQ(reader.totalFrames(), 0U) << "the count comes with close()";
    const auto frames = reader.readPclRGB(1'000'000);
    EXPECT_EQ(frames.size(), (size - 68) / (48 + 100 * 40));
    for (const auto& frame : frames) ASSERT_EQ(frame->cloud->points.size(), 100U);
    std::filesystem::remove(path);
  }
}

}  // namespace

// SPDX-License-Identifier: BSD-3-Clause
// The files of killed processes.
#include <array>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "las/las_file_checks.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "storage/open_reader.h"
#include "support/run_tool.h"

namespace {

using test::Bytes;

#ifdef __SANITIZE_THREAD__
constexpr bool kSkips = true;  // takes minutes, and threads after fork() are not supported
#else
constexpr bool kSkips = false;
#endif

std::size_t fileSize(const std::string& path) {
  std::error_code noFile;
  const auto size = std::filesystem::file_size(path, noFile);
  return noFile ? 0 : size;
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

TEST(KilledProcess, LeavesALasFileThatIsValidUpToItsCount) {
  if (kSkips) GTEST_SKIP();
  constexpr std::size_t kPoints = 42 * 50'000;  // more than 2 write buffers
  constexpr std::size_t kBufferRecords = (32U << 20) / 34, kRuns = 8;
  const test::TempDir dir;
  dir.write("pgo.pcbin", test::rgbFile(42, 50'000));
  const std::string path = dir.path("map.las");
  std::string command = "cd " + dir.path() + " && exec";
  for (const std::string& word : test::toolCommand()) command += " " + word;
  command += " < /dev/null > /dev/null";
  std::size_t killed = 0, mostRecords = 0;
  for (std::size_t k = 0; k < kRuns; ++k) {
    SCOPED_TRACE(k);
    std::filesystem::remove(path);
    const pid_t child = fork();
    if (child == 0) execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    const int signal = std::array{SIGKILL, SIGINT, SIGKILL, SIGTERM}[k % 4];
    killed += killWhenFileHas(child, signal, path, 227 + k * 34 * kPoints / kRuns);

    Bytes las = test::readFile(path);
    ASSERT_GE(las.size(), 227U);
    const std::size_t count = test::at<std::uint32_t>(las, 107);
    const std::size_t onDisk = (las.size() - 227) / 34;
    ASSERT_LE(count, onDisk);
    EXPECT_LE(onDisk - count, kBufferRecords) << "at most the last buffer is not counted";
    las.resize(227 + 34 * count);
    test::expectWholeLas(las, count);
    mostRecords = std::max(mostRecords, count);
  }
  EXPECT_GE(killed, kRuns / 2) << "most runs must not have come to their end";
  EXPECT_GE(mostRecords, kBufferRecords);
}

TEST(KilledProcess, LeavesReadableFramesInAPcbinFile) {
  if (kSkips) GTEST_SKIP();
  const test::TempDir dir;
  for (const std::size_t size : {68U, 1'000'000U, 5'000'000U}) {
    const std::string path = dir.path(std::to_string(size));
    const pid_t child = fork();
    if (child == 0) {
      modeling_app::PcbWriter writer;
      if (!writer.open(path, 64U << 10)) _exit(1);
      const auto cloud = test::rgbCloud(100);
      for (unsigned sent = 0;; ++sent) {
        writer.writePcl(cloud);
        while (sent > writer.totalFrames() + 1000) usleep(100);
      }
    }
    EXPECT_TRUE(killWhenFileHas(child, SIGKILL, path, size));
    test::OpenReader reader(test::readFile(path));
    EXPECT_EQ(reader.totalFrames(), 0U) << "the count comes with close()";
    EXPECT_EQ(reader.readPclRGB(1'000'000).size(), (fileSize(path) - 68) / (48 + 100 * 40));
  }
}

}  // namespace

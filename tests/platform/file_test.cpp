// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/platform/file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using ferrun::File;
using test::Bytes;
using test::CapturedLines;
using test::FaultyFile;
using test::TempDir;
using testing::ElementsAre;

int writeAll(File& file, const Bytes& bytes) {
  return file.writeData(bytes.data(), static_cast<int>(bytes.size()));
}

Bytes readSome(File& file, int count) {
  Bytes bytes(static_cast<std::size_t>(count), '\0');
  bytes.resize(static_cast<std::size_t>(std::max(file.readData(bytes.data(), count), 0)));
  return bytes;
}

TEST(File, ContinuesShortAndInterruptedTransfers) {
  const TempDir directory;
  const std::string path = directory.write("file", "the former contents are lost");
  const Bytes bytes = test::rgbFile(1, 37'000);
  for (const unsigned buffer : {0U, 1U, 4096U, 65536U, 8U << 20}) {
    for (const std::size_t longest : {SIZE_MAX, std::size_t{1009}}) {
      const FaultyFile faulty(path, {.longestTransfer = longest, .everyOther = EINTR});
      File file;
      file.setWMBuffer(buffer);
      ASSERT_TRUE(file.open(path, File::kWrite));
      for (std::size_t size = 1, done = 0; done < bytes.size(); size = size * 3 % 70001) {
        const Bytes piece = bytes.substr(done, size);
        ASSERT_EQ(writeAll(file, piece), static_cast<int>(piece.size()));
        done += piece.size();
        ASSERT_EQ(file.pos(), static_cast<std::int64_t>(done));
      }
      file.close();
      EXPECT_TRUE(test::readFile(path) == bytes) << buffer;

      ASSERT_TRUE(file.open(path, File::kRead));
      Bytes back;
      for (int size = 1; back.size() < bytes.size(); size = size * 3 % 700001) {
        const Bytes piece = readSome(file, size);
        ASSERT_FALSE(piece.empty());
        back += piece;
        ASSERT_EQ(file.pos(), static_cast<std::int64_t>(back.size()));
      }
      EXPECT_TRUE(back == bytes);
      EXPECT_EQ(readSome(file, 1), "") << "the end stays the end";
    }
  }
}

TEST(File, ReadsLinesOfAnyLength) {
  const TempDir directory;
  const Bytes longest(File::kLongestLine, 'x');
  File file;
  ASSERT_TRUE(file.open(directory.write("lines", Bytes("one\r\n\n\nnul\0l\n", 13) + longest +
                                                     "dropped\n" + Bytes(300'000, 'y') + "\nlast"),
                        File::kRead));
  const auto expectLine = [&file](int length, const Bytes& text) {
    std::string line;
    EXPECT_EQ(file.readLine(&line), length);
    EXPECT_TRUE(line == text) << length;
  };
  expectLine(5, "one\r");
  expectLine(1, "");
  EXPECT_EQ(readSome(file, 1), "\n") << "bytes and lines may be read in turn";
  expectLine(6, Bytes("nul\0l", 5));
  expectLine(File::kLongestLine + 8, longest);
  expectLine(300'001, Bytes(300'000, 'y'));
  expectLine(4, "last");
  expectLine(0, "");
}

TEST(File, WritesNothingAfterAFailureUntilTheNextSeek) {
  const TempDir directory;
  const std::string path = directory.path("file");
  const FaultyFile faulty(path, {.end = 10});
  for (const unsigned buffer : {0U, 4U, 6U}) {
    const CapturedLines log;
    File file;
    file.setWMBuffer(buffer);
    ASSERT_TRUE(file.open(path, File::kWrite));
    EXPECT_EQ(writeAll(file, "012345"), 6);
    EXPECT_LT(writeAll(file, "6789ab"), 6 + (buffer == 6 ? 1 : 0));
    file.flush();
    for (int repeat = 0; repeat < 2; ++repeat) {
      errno = 0;
      EXPECT_EQ(writeAll(file, "x"), 0);
      EXPECT_EQ(errno, ENOSPC);
    }
    EXPECT_EQ(file.pos(), 10);
    file.seek(1);
    EXPECT_EQ(writeAll(file, "new"), 3);
    file.close();
    EXPECT_EQ(test::readFile(path), "0new456789") << buffer;
    EXPECT_THAT(log.lines(), ElementsAre("<E>TIME [File::writeData,L#] file(" + path +
                                         ") write error: No space left on device!"));
  }
}

TEST(File, SkipsWithinAFileAndWithinTheBufferOfAPipe) {
  const TempDir directory;
  const std::string path = directory.write("file", "0123456789"), pipe = directory.path("pipe");
  File file;
  ASSERT_TRUE(file.open(path, File::kRead));
  EXPECT_FALSE(file.skip(-1));
  EXPECT_FALSE(file.skip(11));
  EXPECT_TRUE(file.skip(8));
  EXPECT_EQ(readSome(file, 5), "89");
  file.close();
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int both = ::open(pipe.c_str(), O_RDWR);
  ASSERT_EQ(write(both, "0123456789", 10), 10);
  ASSERT_TRUE(file.open(pipe, File::kRead));
  ::close(both);
  EXPECT_EQ(readSome(file, 2), "01");
  EXPECT_TRUE(file.skip(3));
  EXPECT_FALSE(file.skip(6));
  EXPECT_EQ(readSome(file, 5), "56789");
}

TEST(File, TellsAFailedReadFromTheEndAndReportsAFailedClose) {
  const TempDir directory;
  const std::string path = directory.write("file", "0123456789\nabc");
  const CapturedLines log;
  File file;
  std::string line;
  ASSERT_TRUE(file.open(path, File::kRead));
  {
    const FaultyFile faulty(path, {.end = 8});
    EXPECT_EQ(readSome(file, 5), "01234");
    EXPECT_EQ(file.readLine(&line), 3);
    EXPECT_EQ(file.readData(line.data(), 1), -1);
    EXPECT_EQ(file.readLine(&line), -1);
    EXPECT_EQ(file.readError(), EIO);
  }
  file.close();
  ASSERT_TRUE(file.open(path, File::kWrite));
  {
    const test::FaultInjection injection({{test::Call::kClose, 1, false}});
    file.close();
    EXPECT_EQ(file.writeError(), EIO);
  }
  EXPECT_FALSE(file.isOpen());
  const std::string error = ",L#] file(" + path + ") ";
  EXPECT_THAT(log.lines(),
              ElementsAre("<E>TIME [File::readData" + error + "read error: Input/output error!",
                          "<E>TIME [File::close" + error + "write error: Input/output error!"));
}

}  // namespace

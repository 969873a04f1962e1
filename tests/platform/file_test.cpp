#include "platform/file.h"

#include <cerrno>
#include <filesystem>

#include <gmock/gmock.h>

#include "support/faulty_io.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using ferrun::File;
using test::Bytes;
using test::CapturedLines;
using test::FaultyFile;
using test::TempDir;
using testing::ElementsAre;

/// `size` bytes without a pattern.
Bytes someBytes(std::size_t size) {
  Bytes bytes;
  for (std::uint32_t state = 1; bytes.size() < size; state = state * 1664525 + 1013904223)
    bytes += static_cast<char>(state >> 24);
  return bytes;
}

int writeAll(File& file, const Bytes& bytes) {
  return file.writeData(bytes.data(), static_cast<int>(bytes.size()));
}

Bytes readSome(File& file, int count) {
  Bytes bytes(static_cast<std::size_t>(count), '\0');
  bytes.resize(static_cast<std::size_t>(std::max(file.readData(bytes.data(), count), 0)));
  return bytes;
}

TEST(File, WritesAndReadsBackWhateverTheSizesAndInterruptions) {
  const TempDir directory;
  const std::string path = directory.write("file", "the former contents are lost");
  const Bytes bytes = someBytes(1'500'000);
  for (const test::IoFaults& faults :
       {test::IoFaults{}, test::IoFaults{.longestTransfer = 1009, .everyOther = EINTR}}) {
    const FaultyFile faulty(path, faults);
    File file;
    for (const unsigned buffer : {0U, 1U, 4096U, 65536U, 8U << 20}) {
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
    }
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

TEST(File, ReadsLinesWithAnyBreakOrNone) {
  const TempDir directory;
  const Bytes longest(File::kLongestLine, 'x');
  File file;
  ASSERT_TRUE(file.open(directory.write("lines", Bytes("one\r\n\n\nnul\0l\n", 13) + longest +
                                                     "dropped\n" + Bytes(300'000, 'y') + "\nlast"),
                        File::kRead));
  std::string line;
  EXPECT_EQ(file.readLine(&line), 5);
  EXPECT_EQ(line, "one\r");
  EXPECT_EQ(file.readLine(&line), 1);
  EXPECT_EQ(line, "");
  EXPECT_EQ(readSome(file, 1), "\n") << "bytes and lines may be read in turn";
  EXPECT_EQ(file.readLine(&line), 6);
  EXPECT_EQ(line, Bytes("nul\0l", 5));
  EXPECT_EQ(file.readLine(&line), File::kLongestLine + 8);
  EXPECT_TRUE(line == longest);
  EXPECT_EQ(file.readLine(&line), 300'001);
  EXPECT_EQ(file.readLine(&line), 4);
  EXPECT_EQ(line, "last");
  EXPECT_EQ(file.readLine(&line), 0);
  EXPECT_EQ(line, "");
}

TEST(File, MovesAndCutsAtAnyPosition) {
  const TempDir directory;
  const std::string path = directory.path("file");
  File file;
  ASSERT_TRUE(file.open(path, File::kWrite));
  writeAll(file, "0123456789");
  EXPECT_EQ(file.getSize(), 0) << "still in the buffer";
  file.seek(2);
  writeAll(file, "ab");
  EXPECT_TRUE(file.truncate(8));
  EXPECT_EQ(file.pos(), 4) << "stays";
  writeAll(file, "cd");
  file.flush();
  EXPECT_EQ(file.getSize(), 8);
  file.close();
  EXPECT_EQ(file.getSize(), -1);

  ASSERT_TRUE(file.open(path, File::kRead)) << "a closed device opens again";
  EXPECT_EQ(readSome(file, 9), "01abcd67");
  file.seek(1);
  EXPECT_EQ(readSome(file, 2), "1a");
  EXPECT_EQ(file.pos(), 3);
}

TEST(File, RefusesWhatItCannotOpenOrDo) {
  const TempDir directory;
  const std::string path = directory.write("file", "text");
  const CapturedLines log;
  File file;
  std::string line;
  char byte = 'x';
  const auto canRead = [&] { return file.readData(&byte, 1) >= 0 || file.readLine(&line) >= 0; };
  const auto canWrite = [&] { return file.writeData(&byte, 1) >= 0; };
  EXPECT_FALSE(canRead() || canWrite() || file.truncate(0)) << "closed";
  EXPECT_FALSE(file.open(directory.path("none"), File::kRead));
  EXPECT_FALSE(file.open(directory.path(), File::kRead)) << "a directory";
  ASSERT_TRUE(file.open(path, File::kRead));
  EXPECT_FALSE(file.open(path, File::kRead)) << "open already";
  EXPECT_FALSE(canWrite());
  EXPECT_EQ(file.readData(&byte, -1), -1);
  EXPECT_EQ(readSome(file, 9), "text");
  EXPECT_THAT(log.lines(), ElementsAre()) << "the caller reports what it cannot read";
  file.close();

  EXPECT_FALSE(file.open(path + "/below", File::kWrite));
  EXPECT_FALSE(file.open(directory.path(), File::kWrite));
  const std::string error = "<E>TIME [File::open,L#] file(";
  EXPECT_THAT(log.lines(),
              ElementsAre(error + path + "/below) cannot be written: Not a directory!",
                          error + directory.path() + ") cannot be written: Is a directory!"));
  ASSERT_TRUE(file.open(path, File::kWrite));
  EXPECT_FALSE(canRead());
  EXPECT_EQ(file.writeData(&byte, -1), -1);
}

TEST(File, KnowsWhetherAFileIsThereAndWhetherTwoNamesAreOneFile) {
  const TempDir directory;
  const std::string path = directory.write("a", "");
  std::filesystem::create_symlink("a", directory.path("link"));
  std::filesystem::create_symlink("gone", directory.path("dangling"));
  EXPECT_TRUE(File::exists(path) && File::exists(directory.path()));
  EXPECT_FALSE(File::exists("") || File::exists(directory.path("dangling")));
  EXPECT_TRUE(File::isSameFile(path, directory.path("./link")));
  EXPECT_FALSE(File::isSameFile(path, directory.write("b", "")));
  EXPECT_FALSE(File::isSameFile(directory.path("none"), directory.path("none")));
}

TEST(File, FailsForGoodWhenTheDiskIsFullUntilItMoves) {
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

TEST(File, GivesWhatItReadBeforeAReadError) {
  const TempDir directory;
  const std::string path = directory.write("file", someBytes(600'000));
  const FaultyFile faulty(path, {.end = 300'000});
  const CapturedLines log;
  File file;
  ASSERT_TRUE(file.open(path, File::kRead));
  EXPECT_EQ(readSome(file, 200'000).size(), 200'000U);
  EXPECT_EQ(readSome(file, 200'000).size(), 100'000U);
  char byte = 0;
  EXPECT_EQ(file.readData(&byte, 1), -1);
  std::string line;
  EXPECT_EQ(file.readLine(&line), -1);
  EXPECT_EQ(log.lines().at(0),
            "<E>TIME [File::readData,L#] file(" + path + ") read error: Input/output error!");
}

}  // namespace

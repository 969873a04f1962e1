// SPDX-License-Identifier: BSD-3-Clause
// The use of the library by a pipeline, and the lines that it gets.
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/tracer.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "storage/open_reader.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using ferrun::AsyncTaskQueue;
using ferrun::File;
using ferrun::Tracer;
using modeling_app::PcbWriter;
using test::rgbCloud;

struct TextSink : ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override { text.append(lines, size); }
  std::string text;
};

/// Calls `tracer` from within write(), and throws.
struct BadSink : ferrun::TracerSink {
  explicit BadSink(Tracer& tracer) : tracer_(tracer) {}
  void write(const char* lines, std::size_t size) override {
    if (std::string_view(lines, size).find("again") == std::string_view::npos)
      tracer_.print(1, "again");
    tracer_.flush();
    throw size;
  }

 private:
  Tracer& tracer_;
};

TEST(LibraryUse, ASinkMayThrowAndCallTheTracer) {
  const auto text = std::make_shared<TextSink>();
  {
    Tracer tracer;
    tracer.addSink(std::make_shared<BadSink>(tracer));
    tracer.addSink(text);
    tracer.start();
    tracer.print(1, "one");
    tracer.flush();
    tracer.flush();
    EXPECT_EQ(text->text, "one\nagain\n");
    tracer.print(1, "two");
  }
  EXPECT_EQ(text->text, "one\nagain\ntwo\nagain\n");
}

TEST(LibraryUse, ATracerOpensAtAnyThresholdAndStartsOnce) {
  const auto sink = std::make_shared<TextSink>();
  Tracer tracer;
  tracer.addSink(sink);
  tracer.setLevel(INT_MAX);
  tracer.start();
  tracer.start();
  tracer.print(3, "below");
  tracer.setLevel(1);
  tracer.start();
  tracer.print(1, "above");
  tracer.flush();
  EXPECT_EQ(sink->text, "above\n");
}

TEST(LibraryUse, ShortLinesNeedNoMemory) {
  const auto sink = std::make_shared<TextSink>();
  sink->text.reserve(1 << 20);
  Tracer tracer;
  tracer.addSink(sink);
  tracer.start();
  const std::string line(1023, 'x');
  {
    const test::FaultInjection injection({{test::Call::kAllocate, 1, true}});
    for (int k = 0; k < 600; ++k) tracer.print(1, "%s", line.c_str());
    tracer.flush();
  }
  EXPECT_EQ(sink->text.size(), 600U * 1024);
}

TEST(LibraryUse, AQueueWithoutWorkersWritesEveryFrame) {
  const test::TempDir dir;
  for (const bool init : {false, true}) {
    const auto queue = std::make_shared<AsyncTaskQueue>("no workers");
    EXPECT_TRUE(!init || !queue->init(0, {}));
    PcbWriter writer(queue);
    ASSERT_TRUE(writer.open(dir.path("a"), 0));
    for (int k = 0; k < 3; ++k) EXPECT_TRUE(writer.writePcl(rgbCloud(2)));
    writer.close();
    EXPECT_EQ(test::readFile(dir.path("a")).substr(0, 68), test::pcbHeader(3, 6));
    EXPECT_EQ(writer.writeStatus().frames, 3U);
  }
}

/// The number of lines that contain `text`.
long linesWith(const test::Lines& lines, const std::string& text) {
  return std::ranges::count_if(
      lines, [&](const std::string& line) { return line.find(text) != line.npos; });
}

TEST(LibraryUse, ReportsARecordingOntoAFullDiskInFewLines) {
  const test::TempDir dir;
  const test::CapturedLines log;
  PcbWriter writer(std::make_shared<AsyncTaskQueue>("no workers"));
  {
    const test::FaultInjection injection({{test::Call::kWrite, 3, true}});  // after the first frame
    ASSERT_TRUE(writer.open(dir.path("a"), 4096));
    for (const unsigned points : {1U, 500U, 15U, 500U}) writer.writePcl(rgbCloud(points));
    writer.close();
  }
  const test::Lines lines = log.lines();
  EXPECT_EQ(linesWith(lines, "File::writeData"), 1);
  EXPECT_EQ(linesWith(lines, "write frame(1) point data error(0): No space left on device!"), 10);
  EXPECT_EQ(linesWith(lines, "write frame(1) point data error: 389 points more!"), 1);
  EXPECT_EQ(linesWith(lines, " point data error"), 11) << "of the first failed frame only";
  EXPECT_EQ(linesWith(lines, "is incomplete, 1 of 4 frames and 1 of 1016 points were written: No"),
            1);
  const modeling_app::WriteStatus status = writer.writeStatus();
  EXPECT_TRUE(status.failed());
  EXPECT_EQ(status.reason(), "No space left on device");
  EXPECT_EQ(status.frames, 1U);
  EXPECT_EQ(status.points, 1U);
}

TEST(LibraryUse, TheWorkerWarnsOnceOfAGrowingBacklog) {
  constexpr unsigned kPoints = 4'000'000;
  const test::TempDir dir;
  const test::CapturedLines log;
  PcbWriter writer(std::make_shared<AsyncTaskQueue>("no workers"));
  ASSERT_TRUE(writer.open(dir.path("a"), 1 << 20));
  const test::FaultInjection noSpace({{test::Call::kWrite, 1, true}});
  const auto cloud = rgbCloud(kPoints);
  const std::uint64_t frames =
      PcbWriter::kBacklogWarning / (kPoints * sizeof(norvo::PointRGBIST)) + 1;
  for (std::uint64_t k = 1; k <= frames; ++k) writer.writePcl(cloud);
  EXPECT_EQ(linesWith(log.lines(), "queued!"), 0) << "the producer prints nothing";
  writer.close();
  EXPECT_EQ(linesWith(log.lines(), "<W>TIME [PclBinary::writePcl,L#] file(" + dir.path("a") +
                                       ") cannot keep up"),
            1);
}

TEST(LibraryUse, OpeningAnOwnFileChangesNoOtherFile) {
  const test::TempDir dir;
  const std::string input = dir.write("input", "input");
  const std::string other = dir.write("other", "other");
  std::filesystem::create_symlink("free", dir.path("symbolic"));
  std::filesystem::create_hard_link(other, dir.path("hard"));
  mkfifo(dir.path("pipe").c_str(), 0600);
  const int reader =
      open(dir.path("pipe").c_str(), O_RDONLY | O_NONBLOCK);  // else nobody can write
  for (const char* const name : {"input", "symbolic", "hard", "pipe", "", "no/such"}) {
    File file;
    EXPECT_FALSE(file.openOwn(dir.path(name), input)) << name;
  }
  close(reader);
  EXPECT_EQ(test::readFile(input) + test::readFile(other), "inputother");
  EXPECT_THAT(dir.names(), testing::ElementsAre("hard", "input", "other", "pipe", "symbolic"));
  for (const char* const name : {"new", "former"}) {
    dir.write("former", "former");
    File file;
    ASSERT_TRUE(file.openOwn(dir.path(name), input));
    EXPECT_EQ(test::readFile(dir.path(name)), "");
  }
  File file;
  for (const int mode : {1, 2, 3, 5, -1}) EXPECT_FALSE(file.open(other, mode));
  EXPECT_EQ(test::readFile(other), "other");
}

TEST(LibraryUse, TextFromOutsideIsPrintedWithoutControls) {
  const std::pair<std::string, std::string> rows[] = {
      {"plain \\ M\xC3\xBCller", "plain \\ M\xC3\xBCller"},
      {"\x1B[31m\r\n\x7F", "\\x1B[31m\\x0D\\x0A\\x7F"},
      {"\xC2\x9B \xC2\xA0 \xE2\x82\xAC", "\\xC2\\x9B \xC2\xA0 \xE2\x82\xAC"},
      {"\xFF \xC0\xAF \xE2\x82", "\\xFF \\xC0\\xAF \\xE2\\x82"},
  };
  for (const auto& [text, printed] : rows) EXPECT_EQ(ferrun::escapeControls(text), printed);
  EXPECT_THAT(ferrun::StrUtil::splitString("a,b", "", false), testing::ElementsAre("a,b"));
}

}  // namespace

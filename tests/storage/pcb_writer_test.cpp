#include "storage/pcb_writer.h"

#include <future>

#include <gmock/gmock.h>

#include "platform/date_time.h"
#include "platform/str_util.h"
#include "storage/pcb_reader.h"
#include "support/faulty_io.h"
#include "support/log_lines.h"
#include "support/shortage.h"
#include "support/temp_dir.h"

namespace {

using ferrun::AsyncTaskQueue;
using ferrun::StrUtil;
using modeling_app::PcbReader;
using modeling_app::PcbWriter;
using modeling_app::PclFrame;
using test::Bytes;
using test::CapturedLines;
using test::FaultyFile;
using test::TempDir;
using testing::ElementsAre;

/// A cloud of `count` points whose sweep numbers are `sweep`.
std::shared_ptr<norvo::RgbCloud> rgbCloud(unsigned count, unsigned sweep = 0) {
  auto cloud = std::make_shared<norvo::RgbCloud>();
  norvo::PointRGBIST point;
  point.sweepid = sweep;
  cloud->points.assign(count, point);
  return cloud;
}

/// A writer of the file "a" and its running queue.
struct Writing {
  TempDir directory;
  std::string path = directory.path("a");
  std::shared_ptr<AsyncTaskQueue> queue = std::make_shared<AsyncTaskQueue>("frames");
  PcbWriter writer{queue};

  Writing() { queue->init(1, {}); }
  bool open(unsigned bufferSize) { return writer.open(path, bufferSize); }

  /// Closes the writer when the worker has taken every task: close() then need not ask twice.
  void close() {
    while (queue->size() > 0) ferrun::Thread::msleep(1);
    writer.close();
  }
};

/// The number of points of each frame of a file.
std::vector<std::size_t> frameSizes(const std::string& path) {
  PcbReader reader;
  std::vector<std::size_t> sizes;
  if (reader.open(path, 0))
    for (const auto& frame : reader.readPclRGB(1000)) sizes.push_back(frame->cloud->points.size());
  return sizes;
}

std::string hex(const Bytes& bytes, std::size_t offset, std::size_t size) {
  return StrUtil::hexView(bytes.data() + offset, static_cast<int>(size));
}

TEST(PcbWriter, WritesTheDocumentedBytes) {
  const auto cloud = rgbCloud(1, 0x04030201);
  norvo::PointRGBIST& rgb = cloud->points[0];
  rgb.x = 1, rgb.y = -2, rgb.z = 0.5F, rgb.r = 255, rgb.g = 1, rgb.b = 0, rgb.a = 254;
  rgb.intensity = 513.75F, rgb.timestamp = 1;

  const auto lidar = std::make_shared<norvo::IrtCloud>();
  lidar->points.resize(1);
  norvo::PointIRT& irt = lidar->points[0];
  irt.x = 1, irt.y = 2, irt.z = -2, irt.intensity = 0.5F, irt.timestamp = 1;
  const auto frame = std::make_shared<PclFrame>();
  *frame = {-2, lidar, Eigen::Quaternionf(1, 2, -2, 0.5F), Eigen::Vector3f(2, 1, 0.5F)};
  const auto message = std::make_shared<norvo::LioResultMsg>();
  *message = {-2, {1, 2, -2, 0.5F}, {2, 1, 0.5F}, lidar};

  Writing a;
  ASSERT_TRUE(a.open(4096));
  EXPECT_TRUE(a.writer.writePcl(cloud));
  EXPECT_TRUE(a.writer.writePcl(frame));
  EXPECT_TRUE(a.writer.writePcl(message));
  EXPECT_TRUE(a.writer.writePcl(rgbCloud(0)));
  a.close();

  const Bytes file = test::readFile(a.path);
  ASSERT_EQ(file.size(), 68U + 48 + 40 + 2 * (48 + 24) + 48);
  EXPECT_EQ(hex(file, 0, 32),
            "FF 01 44 00 50 43 42 49 4E 00 00 00 01 01 00 00 "
            "04 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00");
  EXPECT_EQ(file.substr(32, 36), Bytes(36, '\0'));
  EXPECT_EQ(hex(file, 68, 8), "0A 00 00 00 00 00 00 00");
  EXPECT_EQ(file.substr(84, 28), Bytes(28, '\0')) << "coloured frames have no pose";
  EXPECT_EQ(hex(file, 112, 44),
            "01 00 00 00 "
            "00 00 80 3F 00 00 00 C0 00 00 00 3F 00 00 7F 43 00 00 80 3F 00 00 00 00 "
            "01 02 FE 00 00 00 00 00 00 00 F0 3F 01 02 03 04");
  const std::string pose =
      "00 00 00 00 00 00 00 C0 "
      "00 00 80 3F 00 00 00 40 00 00 00 C0 00 00 00 3F "
      "00 00 00 40 00 00 80 3F 00 00 00 3F 01 00 00 00 "
      "00 00 80 3F 00 00 00 40 00 00 00 C0 00 00 00 3F 00 00 00 00 00 00 F0 3F";
  EXPECT_EQ(hex(file, 156, 72), "06 00 00 00 01 00 00 00 " + pose);
  EXPECT_EQ(hex(file, 228, 72), "06 00 00 00 02 00 00 00 " + pose);
  EXPECT_EQ(hex(file, 300, 8), "0A 00 00 00 03 00 00 00");
  EXPECT_EQ(hex(file, 344, 4), "00 00 00 00");
}

TEST(PcbWriter, CompletesTheHeaderWhenItCloses) {
  Writing a;
  a.directory.write("a", Bytes(1000, 'x'));
  const CapturedLines log;
  a.writer.close();
  ASSERT_TRUE(a.open(0));
  EXPECT_EQ(test::readFile(a.path), test::pcbHeader(0, 0)) << "the former file is gone";
  EXPECT_TRUE(a.writer.open("/none/b", 0)) << "an open writer stays with its file";
  a.writer.writePcl(rgbCloud(3));
  a.writer.writePcl(rgbCloud(4));
  while (a.writer.totalFrames() < 2) ferrun::Thread::msleep(1);
  EXPECT_EQ(a.writer.totalPoints(), 7U);
  EXPECT_EQ(test::readFile(a.path).substr(0, 68), test::pcbHeader(0, 0)) << "zero until close()";
  a.writer.close();
  EXPECT_EQ(test::readFile(a.path).substr(0, 68), test::pcbHeader(2, 7));
  EXPECT_EQ(a.writer.totalFrames() + a.writer.totalPoints(), 0U);

  ASSERT_TRUE(a.open(1U << 20));
  a.writer.writePcl(rgbCloud(1));
  a.close();
  const Bytes file = test::readFile(a.path);
  EXPECT_EQ(file.substr(0, 68), test::pcbHeader(1, 1));
  EXPECT_EQ(test::at<std::uint32_t>(file, 72), 0U) << "frames are numbered anew";

  PcbWriter().open(a.path, 1U << 20);
  EXPECT_EQ(test::readFile(a.path), test::pcbHeader(0, 0)) << "the destructor closes";
  EXPECT_THAT(log.lines(), ElementsAre());
}

TEST(PcbWriter, RefusesFramesItCannotWrite) {
  Writing a;
  const auto frame = std::make_shared<PclFrame>();
  const auto message = std::make_shared<norvo::LioResultMsg>();
  const auto refusesAll = [&](modeling_app::PclBinary& file, unsigned points) {
    return !file.writePcl(points > 0 ? rgbCloud(points) : nullptr) && !file.writePcl(frame) &&
           !file.writePcl(message);
  };
  ASSERT_TRUE(a.open(0));
  EXPECT_TRUE(refusesAll(a.writer, 0)) << "no clouds";
  EXPECT_FALSE(a.writer.writePcl(std::shared_ptr<PclFrame>()));
  EXPECT_FALSE(a.writer.writePcl(std::shared_ptr<norvo::LioResultMsg>()));
  frame->cloud = message->cloud = std::make_shared<norvo::IrtCloud>();
  a.writer.close();
  EXPECT_TRUE(refusesAll(a.writer, 1)) << "closed";
  EXPECT_EQ(test::readFile(a.path), test::pcbHeader(0, 0));
  PcbReader reader;
  ASSERT_TRUE(reader.open(a.path, 0));
  EXPECT_TRUE(refusesAll(reader, 1)) << "a reader";
}

TEST(PcbWriter, WaitsForQueuedFramesAndKeepsTheTimeOfTheCall) {
  Writing a;
  const CapturedLines log;
  ASSERT_TRUE(a.open(4096));
  std::promise<void> busy, gate;
  a.queue->putTask(
      [&](const std::string&) {
        busy.set_value();
        gate.get_future().wait();
      },
      "");
  busy.get_future().wait();
  const double before = ferrun::Time::fromEpoch().toSec();
  a.writer.writePcl(rgbCloud(2));
  a.writer.writePcl(rgbCloud(1));
  const double after = ferrun::Time::fromEpoch().toSec();
  const auto closed = std::async(std::launch::async, [&] { a.writer.close(); });
  while (log.lines().empty()) ferrun::Thread::msleep(1);
  gate.set_value();
  closed.wait();

  EXPECT_THAT(log.lines(), ElementsAre("<W>TIME [PcbWriter::close,L#] wait write tasks: 2"));
  const Bytes file = test::readFile(a.path);
  ASSERT_EQ(file.size(), 68U + 2 * 48 + 3 * 40);
  EXPECT_EQ(file.substr(0, 68), test::pcbHeader(2, 3));
  for (const std::size_t offset : {76U, 76U + 48 + 80}) {
    EXPECT_GE(test::at<double>(file, offset), before);
    EXPECT_LE(test::at<double>(file, offset), after);
  }
}

TEST(PcbWriter, WaitsForTheFrameThatTheWorkerHasTaken) {
  Writing a;
  for (int repeat = 0; repeat < 500; ++repeat) {
    ASSERT_TRUE(a.open(4096));
    a.writer.writePcl(rgbCloud(1));
    while (a.queue->size() > 0) std::this_thread::yield();
    a.writer.close();
    ASSERT_EQ(test::readFile(a.path).substr(0, 68), test::pcbHeader(1, 1)) << repeat;
  }
}

TEST(PcbWriter, WaitsForTheFrameThatIsBeingWritten) {
  Writing a;
  const FaultyFile slow(a.path, {.delay = std::chrono::milliseconds(2)});
  ASSERT_TRUE(a.open(0));
  a.writer.writePcl(rgbCloud(50));
  a.close();
  EXPECT_EQ(test::readFile(a.path).substr(0, 68), test::pcbHeader(1, 50));
  EXPECT_THAT(frameSizes(a.path), ElementsAre(50));
}

TEST(PcbWriter, TakesFramesFromSeveralThreads) {
  Writing a;
  ASSERT_TRUE(a.open(1000));
  std::vector<std::thread> producers;
  for (unsigned producer = 0; producer < 3; ++producer)
    producers.emplace_back([&writer = a.writer, producer] {
      for (unsigned i = 0; i < 100; ++i) {
        writer.writePcl(rgbCloud(producer, i));
        EXPECT_LE(writer.totalFrames() + writer.totalPoints(), 600U);
      }
    });
  for (std::thread& producer : producers) producer.join();
  a.close();

  const Bytes file = test::readFile(a.path);
  std::vector<std::uint32_t> next(3, 0);
  std::size_t offset = 68;
  for (std::uint32_t index = 0; index < 300; ++index) {
    ASSERT_EQ(test::at<std::uint32_t>(file, offset + 4), index);
    const auto count = test::at<std::uint32_t>(file, offset + 44);
    for (std::uint32_t i = 0; i < count; ++i)
      ASSERT_EQ(test::at<std::uint32_t>(file, offset + 48 + 40 * i + 36), next.at(count));
    ++next[count];
    offset += 48 + 40 * count;
  }
  EXPECT_EQ(offset, file.size());
}

TEST(PcbWriter, WritesFramesAtOnceWhenNoWorkerCanBeStarted) {
  const TempDir directory;
  const CapturedLines log;
  {
    const test::NoThreads shortage;
    PcbWriter writer;
    ASSERT_TRUE(writer.open(directory.path("a"), 0));
    EXPECT_TRUE(writer.writePcl(rgbCloud(3)));
    EXPECT_EQ(writer.totalPoints(), 3U);
  }
  EXPECT_THAT(log.lines(), ElementsAre("<E>TIME [PcbWriter::PcbWriter,L#] init task error!"));
  EXPECT_THAT(frameSizes(directory.path("a")), ElementsAre(3));
}

TEST(PcbWriter, RefusesFilesItCannotWrite) {
  const TempDir directory;
  const std::string path = directory.write("a", "");
  const std::string below = path + "/b";
  const FaultyFile full(path, {.end = 20});
  const CapturedLines log;
  PcbWriter writer;
  EXPECT_FALSE(writer.open("", 0));
  EXPECT_FALSE(writer.open(below, 0));
  EXPECT_FALSE(writer.open(path, 0));
  EXPECT_FALSE(writer.writePcl(rgbCloud(1))) << "there is no header";
  EXPECT_EQ(writer.totalFrames(), 0U);
  writer.close();
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          "<E>TIME [PcbWriter::open,L#] file name empty!",
          "<E>TIME [File::open,L#] file(" + below + ") cannot be written: Not a directory!",
          "<E>TIME [PcbWriter::open,L#] open file(" + below + ") error!",
          "<E>TIME [File::writeData,L#] file(" + path + ") write error: No space left on device!",
          "<E>TIME [PcbWriter::open,L#] file(" + path + ") write header error, len: 20!"));
}

TEST(PcbWriter, KeepsTheFramesThatReachedAFullDisk) {
  const auto warning = [](unsigned frame, int length) {
    return StrUtil::format(
        "<W>TIME [PclBinary::operator(),L#] write frame(%u) point data error(%d): "
        "No space left on device!",
        frame, length);
  };
  constexpr unsigned kEnd = 68 + 48 + 3 * 40 + 48 + 50;
  for (const unsigned buffer : {0U, 100U, 1U << 20}) {
    const CapturedLines log;
    Writing a;
    {
      const FaultyFile full(a.path, {.end = kEnd});
      ASSERT_TRUE(a.open(buffer));
      for (int frame = 0; frame < 3; ++frame) EXPECT_TRUE(a.writer.writePcl(rgbCloud(3)));
      a.close();
    }
    const test::Lines lines = log.lines();
    const std::string error =
        "<E>TIME [File::writeData,L#] file(" + a.path + ") write error: No space left on device!";
    EXPECT_EQ(lines.at(0), error);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), error), 1) << buffer;
    if (buffer == 0) {
      EXPECT_THAT(lines, ElementsAre(error, warning(1, 10), warning(1, 0), warning(2, 0),
                                     warning(2, 0), warning(2, 0)));
    }
    const Bytes file = test::readFile(a.path);
    EXPECT_EQ(file.size(), kEnd);
    EXPECT_EQ(file.substr(0, 68), test::pcbHeader(3, 9)) << "the counts of the frames handed over";
    EXPECT_THAT(frameSizes(a.path), ElementsAre(3));
    EXPECT_THAT(log.lines().back(), testing::HasSubstr("read error, len: 0, total size: 120"));
  }
}

TEST(PcbWriter, LeavesFramesReadableWhenTheFinalHeaderFails) {
  Writing a;
  ASSERT_TRUE(a.open(0));
  a.writer.writePcl(rgbCloud(2));
  while (a.writer.totalFrames() == 0) ferrun::Thread::msleep(1);
  const CapturedLines log;
  {
    const FaultyFile full(a.path, {.end = 0});
    a.writer.close();
  }
  EXPECT_EQ(log.lines().back(),
            "<E>TIME [PcbWriter::close,L#] file(" + a.path + ") write header error, len: 0!");
  EXPECT_EQ(test::readFile(a.path).substr(0, 68), test::pcbHeader(0, 0));
  EXPECT_THAT(frameSizes(a.path), ElementsAre(2));
}

}  // namespace

// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcb_writer.h"

#include <cerrno>
#include <fcntl.h>
#include <future>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

#include <gmock/gmock.h>

#include "pcbin_las/platform/epoch_time.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/thread.h"
#include "storage/open_reader.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
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
using test::rgbCloud;
using test::TempDir;
using testing::ElementsAre;

/// A writer of the file "a" and its running queue.
struct Writing {
  TempDir directory;
  std::string path = directory.path("a");
  std::shared_ptr<AsyncTaskQueue> queue = std::make_shared<AsyncTaskQueue>("frames");
  PcbWriter writer{queue};

  Writing() { queue->init(1, {}); }

  /// Closes the writer when the queue is empty, so that close() does not wait 5 seconds.
  void close() {
    writer.waitForFrames();
    writer.close();
  }
};

Bytes header(const std::string& path) {
  return test::readFile(path).substr(0, 68);
}

std::string hex(const Bytes& bytes, std::size_t offset, std::size_t size) {
  return StrUtil::hexView(bytes.data() + offset, static_cast<int>(size));
}

TEST(PcbWriter, WritesTheDocumentedBytes) {
  const auto cloud = rgbCloud(1, 0x04030201);
  norvo::PointRGBIST& rgb = cloud->points[0];
  rgb.x = 1, rgb.y = -2, rgb.z = 0.5F, rgb.r = 255, rgb.g = 1, rgb.b = 0, rgb.a = 254;
  rgb.intensity = 65536 + 513.75F, rgb.timestamp = 1;

  const auto lidar = std::make_shared<norvo::IrtCloud>();
  norvo::PointIRT& irt = lidar->points.emplace_back();
  irt.x = 1, irt.y = 2, irt.z = -2, irt.intensity = 0.5F, irt.timestamp = 1;
  const auto frame = std::make_shared<PclFrame>(
      PclFrame{-2, lidar, Eigen::Quaternionf(1, 2, -2, 0.5F), Eigen::Vector3f(2, 1, 0.5F)});
  const auto message = std::make_shared<norvo::LioResultMsg>(
      norvo::LioResultMsg{-2, {1, 2, -2, 0.5F}, {2, 1, 0.5F}, lidar});

  Writing a;
  ASSERT_TRUE(a.writer.open(a.path, 4096));
  EXPECT_TRUE(a.writer.writePcl(cloud) && a.writer.writePcl(frame) && a.writer.writePcl(message) &&
              a.writer.writePcl(rgbCloud(0)));
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
  for (const unsigned count : {3U, 5U}) {
    ASSERT_TRUE(a.writer.open(a.path, 0));
    EXPECT_EQ(test::readFile(a.path), test::pcbHeader(0, 0)) << "the former file is gone";
    a.writer.writePcl(rgbCloud(count));
    a.writer.writePcl(rgbCloud(count));
    while (a.writer.totalFrames() < 2) ferrun::Thread::msleep(1);
    EXPECT_EQ(a.writer.totalPoints(), 2 * count);
    EXPECT_EQ(header(a.path), test::pcbHeader(0, 0)) << "zero until close()";
    a.writer.close();
    EXPECT_EQ(header(a.path), test::pcbHeader(2, 2 * count));
    EXPECT_EQ(test::at<std::uint32_t>(test::readFile(a.path), 72), 0U) << "numbered anew";
  }
}

TEST(PcbWriter, ClosesAfterItsQueuedFramesAndStoresTheTimeOfTheCall) {
  Writing a;
  PcbWriter other(a.queue);
  const CapturedLines log;
  ASSERT_TRUE(a.writer.open(a.path, 4096) && other.open(a.directory.path("b"), 1000));
  std::promise<void> busy, gate;
  const auto wait = [&](const std::string&) {
    busy.set_value();
    gate.get_future().wait();
  };
  a.queue->putTask(wait, "");
  busy.get_future().wait();
  const double before = ferrun::Time::fromEpoch().toSec();
  EXPECT_TRUE(a.writer.writePcl(rgbCloud(2)) && other.writePcl(rgbCloud(7)) &&
              a.writer.writePcl(rgbCloud(1)));
  const double after = ferrun::Time::fromEpoch().toSec();
  const auto closed = std::async(std::launch::async, [&] { a.writer.close(); });
  const auto otherClosed = std::async(std::launch::async, [&] { other.close(); });
  while (log.lines().size() < 2) ferrun::Thread::msleep(1);
  gate.set_value();
  closed.wait();
  otherClosed.wait();

  EXPECT_THAT(log.lines(), testing::Each("<W>TIME [PcbWriter::close,L#] wait write tasks: 3"));
  EXPECT_EQ(header(a.directory.path("b")), test::pcbHeader(1, 7));
  const Bytes file = test::readFile(a.path);
  ASSERT_EQ(file.size(), 68U + 2 * 48 + 3 * 40);
  EXPECT_EQ(header(a.path), test::pcbHeader(2, 3));
  for (const std::size_t offset : {76U, 76U + 48 + 80}) {
    EXPECT_GE(test::at<double>(file, offset), before);
    EXPECT_LE(test::at<double>(file, offset), after);
  }
}

TEST(PcbWriter, ClosesAfterTheTaskThatTheWorkerHasTaken) {
  Writing a;
  ASSERT_TRUE(a.writer.open(a.path, 4096));
  std::promise<void> taken, gate;
  a.queue->putTask(
      [&](const std::string&) {
        taken.set_value();
        gate.get_future().wait();
      },
      "");
  taken.get_future().wait();
  EXPECT_EQ(a.queue->size(), 0);
  const auto closed = std::async(std::launch::async, [&] { a.writer.close(); });
  EXPECT_EQ(closed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  gate.set_value();
}

TEST(PcbWriter, WritesFramesOfSeveralThreadsInTheOrderOfEach) {
  Writing a;
  ASSERT_TRUE(a.writer.open(a.path, 1000));
  std::vector<std::thread> producers;
  for (unsigned producer = 0; producer < 3; ++producer)
    producers.emplace_back([&writer = a.writer, producer] {
      for (unsigned i = 0; i < 100; ++i) writer.writePcl(rgbCloud(1, 100 * producer + i));
    });
  for (std::thread& producer : producers) producer.join();
  a.close();

  const Bytes file = test::readFile(a.path);
  ASSERT_EQ(file.size(), 68U + 300 * 88);
  std::vector<std::uint32_t> next = {0, 100, 200};
  for (std::uint32_t index = 0; index < 300; ++index) {
    ASSERT_EQ(test::at<std::uint32_t>(file, 68 + 88 * index + 4), index);
    const auto sweep = test::at<std::uint32_t>(file, 68 + 88 * index + 48 + 36);
    ASSERT_EQ(sweep, next.at(sweep / 100)++);
  }
}

TEST(PcbWriter, RefusesFilesAndFramesThatCannotBeWritten) {
  const TempDir directory;
  const std::string path = directory.write("a", "");
  const FaultyFile full(path, {.end = 20});
  const CapturedLines log;
  PcbWriter writer;
  for (const auto& [name, error] :
       {std::pair(std::string(), std::string("file name empty!")),
        {path + "/b", "file(" + path + "/b) cannot be written: Not a directory!"},
        {path, "file(" + path + ") write header error, len: 20!"}}) {
    EXPECT_FALSE(writer.open(name, 0));
    EXPECT_EQ(writer.lastError(), error);
  }
  EXPECT_FALSE(writer.writePcl(rgbCloud(1))) << "there is no header";
  writer.close();
  ASSERT_TRUE(writer.open(directory.path("b"), 0));
  EXPECT_FALSE(writer.writePcl(std::shared_ptr<norvo::RgbCloud>()));
  EXPECT_FALSE(writer.writePcl(std::make_shared<PclFrame>())) << "no cloud";
  EXPECT_FALSE(writer.writePcl(std::make_shared<norvo::LioResultMsg>())) << "no cloud";
  EXPECT_FALSE(writer.writePcl(std::make_shared<modeling_app::PclRGBFrame>())) << "no cloud";
  const std::string file = "file(" + path;
  EXPECT_THAT(
      log.lines(),
      ElementsAre(
          "<E>TIME [PcbWriter::open,L#] file name empty!",
          "<E>TIME [File::open,L#] " + file + "/b) cannot be written: Not a directory!",
          "<E>TIME [PcbWriter::open,L#] open " + file + "/b) error!",
          "<E>TIME [File::writeData,L#] " + file + ") write error: No space left on device!",
          "<E>TIME [PcbWriter::open,L#] " + file + ") write header error, len: 20!",
          "<E>TIME [PcbWriter::close,L#] " + file +
              ") may be incomplete on the disk: No space left on device!"));
  writer.close();
  EXPECT_FALSE(writer.open(path, 4096)) << "the buffer takes the header, the disk does not";
  EXPECT_EQ(writer.lastError(), file + ") write header error, len: 20!");
}

TEST(PcbWriter, LosesOnlyTheFramesForWhichTheDiskWasFull) {
  const auto warning = [](const std::string& length) {
    return "<W>TIME [PclBinary::operator(),L#] write frame(1) point data error(" + length +
           "): No space left on device!";
  };
  constexpr unsigned kFrame = 48 + 3 * 40;
  for (const unsigned buffer : {0U, 100U, 1U << 20}) {
    for (const bool roomAgain : {false, true}) {
      const CapturedLines log;
      Writing a;
      {
        const FaultyFile full(a.path, {.end = 68 + kFrame + 48 + 50});
        ASSERT_TRUE(a.writer.open(a.path, buffer));
        for (int frame = 0; frame < 3; ++frame) EXPECT_TRUE(a.writer.writePcl(rgbCloud(3)));
        a.writer.waitForFrames();
        EXPECT_EQ(test::readFile(a.path).size(), 68 + kFrame) << "cut back";
        EXPECT_FALSE(a.writer.sync());
        if (!roomAgain) a.close();
      }
      const auto last = std::make_shared<modeling_app::PclRGBFrame>();
      last->cloud = rgbCloud(3);
      last->timestamp = 7.5;
      EXPECT_TRUE(!roomAgain || a.writer.writePcl(last));
      a.close();
      const unsigned stored = roomAgain ? 2 : 1, handed = roomAgain ? 4 : 3;
      const std::string error =
          "<E>TIME [File::writeData,L#] file(" + a.path + ") write error: No space left on device!";
      const std::string end =
          "<E>TIME [PcbWriter::close,L#] file(" + a.path + ") is incomplete, " +
          (roomAgain ? "2 of 4 frames and 6 of 12" : "1 of 3 frames and 3 of 9") +
          " points were written: No space left on device!";
      if (buffer == 0)
        EXPECT_THAT(log.lines(), ElementsAre(error, warning("10"), warning("0"), end));
      else
        EXPECT_THAT(log.lines(), testing::IsSupersetOf({error, end}));
      const modeling_app::WriteStatus status = a.writer.writeStatus();
      EXPECT_EQ(std::tuple(status.error, status.frames, status.points, status.backlogBytes),
                std::tuple(ENOSPC, stored, 3 * stored, 0));
      const Bytes file = test::readFile(a.path);
      ASSERT_EQ(file.size(), 68 + stored * kFrame);
      EXPECT_EQ(header(a.path), test::pcbHeader(handed, 3 * handed)) << "of the frames handed over";
      if (roomAgain) {
        EXPECT_EQ(test::at<std::uint32_t>(file, 68 + kFrame + 4), 3U) << "frame index";
        EXPECT_EQ(test::at<double>(file, 68 + kFrame + 8), 7.5) << "the frame's own time stamp";
      }
      ASSERT_TRUE(a.writer.open(a.path, buffer));
      EXPECT_EQ(std::tuple(a.writer.writeStatus().error, a.writer.writeStatus().frames),
                std::tuple(0, 0));
    }
  }
}

TEST(PcbWriter, SyncTellsWhetherTheFramesAreOnTheDisk) {
  const CapturedLines log;
  Writing a;
  EXPECT_FALSE(a.writer.sync()) << "no file is open";
  ASSERT_TRUE(a.writer.open(a.path, 0));
  a.writer.writePcl(rgbCloud(3));
  EXPECT_TRUE(a.writer.sync());
  {
    const test::FaultInjection injection({{test::Call::kSync, 1, true}});
    EXPECT_FALSE(a.writer.sync());
    a.close();
  }
  EXPECT_TRUE(a.writer.writeStatus().failed());
  EXPECT_THAT(log.lines(), ElementsAre(testing::HasSubstr("File::sync,L#] file("),
                                       testing::HasSubstr(") may be incomplete on the disk: ")));

  const std::string pipe = a.directory.path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_TRUE(a.writer.open(pipe, 0));
  a.writer.writePcl(rgbCloud(3));
  EXPECT_TRUE(a.writer.sync()) << "a pipe cannot be synced";
  a.close();
  close(reader);
}

}  // namespace

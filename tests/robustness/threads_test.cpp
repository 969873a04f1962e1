// Several threads at once, meant to be run under the thread sanitizer too.
#include <atomic>
#include <future>
#include <thread>

#include <gmock/gmock.h>

#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using modeling_app::PcbReader;
using modeling_app::PcbWriter;

std::shared_ptr<norvo::RgbCloud> cloudOf(unsigned points, unsigned sweep) {
  auto cloud = std::make_shared<norvo::RgbCloud>();
  norvo::PointRGBIST point;
  point.sweepid = sweep;
  cloud->points.assign(points, point);
  return cloud;
}

TEST(Threads, MayShareAQueueBetweenWritersThatCloseWhileFramesWait) {
  constexpr unsigned kWriters = 3, kFrames = 200;
  const test::TempDir dir;
  const test::CapturedLines captured;
  const auto queue = std::make_shared<ferrun::AsyncTaskQueue>("shared");
  std::promise<void> gate;
  queue->putTask([&](const std::string&) { gate.get_future().wait(); }, "");
  ASSERT_TRUE(queue->init(1, {}));
  std::atomic<unsigned> handedOver = 0;
  std::vector<std::thread> producers;
  for (unsigned k = 0; k < kWriters; ++k)
    producers.emplace_back([&, k] {
      PcbWriter writer(queue);
      ASSERT_TRUE(writer.open(dir.path(std::to_string(k)), 1000));
      for (unsigned i = 0; i < kFrames; ++i) EXPECT_TRUE(writer.writePcl(cloudOf(k + 1, i)));
      TRACE_INFO("test", "writer %u waits for %u frames.", k, kFrames);
      if (++handedOver == kWriters) gate.set_value();
    });  // the destructor closes
  for (std::thread& producer : producers) producer.join();

  for (unsigned k = 0; k < kWriters; ++k) {
    PcbReader reader;
    ASSERT_TRUE(reader.open(dir.path(std::to_string(k)), 0));
    EXPECT_EQ(reader.totalPoints(), kFrames * (k + 1));
    const auto frames = reader.readPclRGB(kFrames + 1);
    ASSERT_EQ(frames.size(), kFrames);
    for (unsigned i = 0; i < kFrames; ++i) {
      ASSERT_EQ(frames[i]->cloud->points.size(), k + 1);
      ASSERT_EQ(frames[i]->cloud->points[k].sweepid, i);
    }
  }
}

TEST(Threads, MayReadOneFileTogetherWhileOthersAskAndPrint) {
  constexpr unsigned kFrames = 300;
  const test::TempDir dir;
  const test::CapturedLines captured;
  PcbReader reader;
  ASSERT_TRUE(reader.open(dir.write("a", test::rgbFile(kFrames, 5)), 0));
  std::vector<std::atomic<int>> seen(kFrames);
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&, k] {
      unsigned last = 0;
      for (auto frames = reader.readPclRGB(3); !frames.empty(); frames = reader.readPclRGB(3)) {
        EXPECT_EQ(reader.totalFrames(), kFrames);
        for (const auto& frame : frames) {
          const auto& points = frame->cloud->points;
          const unsigned sweep = points.at(0).sweepid;
          EXPECT_EQ(points.at(4).x, static_cast<float>(5 * sweep + 4)) << "a whole frame";
          EXPECT_GE(sweep, last);
          last = sweep;
          ++seen.at(sweep);
          TRACE_INFO("test", "%d %s", k, std::string(sweep, 'x').c_str());
        }
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(seen, testing::Each(testing::Eq(1)));
  const test::Lines lines = captured.lines();
  EXPECT_EQ(lines.size(), kFrames + 1);
  for (std::size_t i = 1; i < lines.size(); ++i)
    EXPECT_THAT(lines[i], testing::MatchesRegex("<I>TIME \\[test\\] [0-3] x*"));
}

}  // namespace

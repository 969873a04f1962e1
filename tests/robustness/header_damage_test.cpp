// Every byte of every header with other values, and pose files damaged anywhere: no crash, no
// memory, no time spent on a lie, and what is not damaged delivered with its right values.
#include <filesystem>
#include <sys/resource.h>

#include <gmock/gmock.h>

#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/app/las_view.h"
#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using modeling_app::PcbReader;
using test::at;
using test::Bytes;

long mostMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

class HeaderDamage : public testing::Test {
 protected:
  ~HeaderDamage() override { EXPECT_LT(mostMemory() - before_, 150'000) << "kilobytes"; }

  /// Calls `check` for every change of one byte in [begin, end) of `file` to one of four values,
  /// with the changed file's path, the changed bytes and the byte's offset.
  template <class Check>
  void forEachChange(const Bytes& file, std::size_t begin, std::size_t end, Check check) {
    for (std::size_t offset = begin; offset < end; ++offset) {
      for (const char value : {'\x00', '\x7F', '\x80', '\xFF'}) {
        if (file[offset] == value) continue;
        Bytes changed = file;
        changed[offset] = value;
        SCOPED_TRACE(testing::Message() << "byte " << offset << ": " << (value & 0xFF));
        check(dir_.write("file", changed), changed, offset);
      }
    }
  }

  test::TempDir dir_;

 private:
  const long before_ = mostMemory();
};

/// The point counts of the frames before the first that cannot be read.
std::vector<std::size_t> readFrames(PcbReader& reader, bool lidar) {
  std::vector<std::size_t> sizes;
  if (lidar)
    for (const auto& frame : reader.readPcl(9)) sizes.push_back(frame->cloud->points.size());
  else
    for (const auto& frame : reader.readPclRGB(9)) sizes.push_back(frame->cloud->points.size());
  return sizes;
}

TEST_F(HeaderDamage, OfAPcbinFileMattersOnlyInTheCheckedFields) {
  forEachChange(test::rgbFile(3, 2), 0, 68, [](const auto& path, const Bytes&, std::size_t offset) {
    PcbReader reader;
    const bool checked = offset < 9;
    EXPECT_EQ(reader.open(path, 0), !checked);
    if (checked) return;
    EXPECT_THAT(readFrames(reader, false), testing::ElementsAre(2, 2, 2));
  });
}

TEST_F(HeaderDamage, OfAFrameIsToldOrCarriedAndHurtsNoFrameBefore) {
  for (const bool lidar : {false, true}) {
    const auto frame = [lidar](std::uint32_t index) {
      return lidar ? test::irtFrame(index, 1, {{1, 2, 3, 4, 5}, {}})
                   : test::rgbFrame(index, 1, {{1, 2, 3}, {}});
    };
    const Bytes file = test::pcbHeader(3, 6) + frame(0) + frame(1) + frame(2);
    const std::size_t second = 68 + frame(0).size();
    forEachChange(file, second, second + 48,
                  [&](const auto& path, const Bytes& changed, auto offset) {
                    PcbReader reader;
                    const test::CapturedLines captured;
                    ASSERT_TRUE(reader.open(path, 0));
                    const auto sizes = readFrames(reader, lidar);
                    const std::size_t field = offset - second;
                    ASSERT_FALSE(sizes.empty());
                    EXPECT_EQ(sizes[0], 2U);
                    if (field >= 4 && field < 44) {
                      EXPECT_THAT(sizes, testing::ElementsAre(2, 2, 2));
                    } else {  // the format or the point count
                      const auto count = at<std::uint32_t>(changed, second + 44);
                      EXPECT_EQ(sizes.size(), count == 0 ? 2U : 1U);
                      EXPECT_THAT(captured.lines().back(), testing::StartsWith("<E>"));
                    }
                  });
  }
}

TEST_F(HeaderDamage, OfALasFileIsShownAndRefusedOrRepaired) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP()
      << "the thread sanitizer takes minutes for 700 buffers of 32 MiB, and there is one thread";
#endif
  const Bytes las = test::lasFile(3);
  const auto repaired = [this] {
    Bytes bytes;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
      if (entry.path().filename() == "file") continue;
      bytes = test::readFile(entry.path());
      std::filesystem::remove(entry.path());
    }
    return bytes;
  };
  forEachChange(las, 0, 227, [&](const auto& path, const Bytes& changed, std::size_t offset) {
    const test::CapturedLines captured;
    las_view(path, 0, 9);
    const std::size_t announced = at<std::uint32_t>(changed, 107);
    const std::size_t count = std::min<std::size_t>(announced, 3);
    EXPECT_EQ(captured.lines().size(), 19 + 2 * count + (announced > 3));

    las_repair(path);
    const Bytes bytes = repaired();
    const bool shape = offset == 24 || offset == 25 || (offset >= 94 && offset < 100) ||
                       (offset >= 104 && offset < 107);
    EXPECT_EQ(bytes.empty(), shape);
    if (shape) return;
    const bool scale = offset >= 131 && offset < 155;  // other coordinates, or ones that do not fit
    const std::size_t written = at<std::uint32_t>(bytes, 107);
    EXPECT_EQ(bytes.size(), 227 + 34 * written);
    EXPECT_TRUE(scale ? written <= 3 : written == count);
    EXPECT_TRUE(scale || bytes.substr(227) == las.substr(227, 34 * count));
  });
}

/// Checks the poses of the first two lines of a file of which only the third may be damaged.
void expectTwoPoses(const std::string& path) {
  norvo::PGOResultMsg msg;
  ASSERT_TRUE(loadPgoFile(path, msg));
  ASSERT_GE(msg.pgoPoses.size(), 2U);
  ASSERT_LE(msg.pgoPoses.size(), 3U);
  for (std::uint32_t id = 0; id < 2; ++id) {
    EXPECT_EQ(msg.lioPoses[id].id, id);
    EXPECT_EQ(msg.pgoPoses[id].id, id);
    EXPECT_EQ(msg.lioPoses[id].translation, Eigen::Vector3f(1, 2, 3));
    EXPECT_EQ(msg.pgoPoses[id].rotation.coeffs(), Eigen::Vector4f(0.6F, 0, 0, 0.8F));
  }
}

TEST_F(HeaderDamage, OfOneLineOfAPoseFileLeavesTheOthers) {
  Bytes file;
  std::size_t end = 0;
  for (unsigned id = 0; id < 3; ++id) {
    end = file.size();
    file += test::poseLine(id, {{1, 2, 3}, {1, 0, 0, 0}}, {{4, 5, 6}, {0.8, 0.6, 0, 0}});
  }
  forEachChange(file, end, file.size(),
                [](const auto& path, const auto&, std::size_t) { expectTwoPoses(path); });
  for (std::size_t size = end; size < file.size(); ++size) {
    SCOPED_TRACE(size);
    expectTwoPoses(dir_.write("file", file.substr(0, size)));
  }
}

}  // namespace

// SPDX-License-Identifier: BSD-3-Clause
// The repair and the viewer with damaged LAS files.
#include "pcbin_las/app/las_repair.h"

#include <filesystem>

#include <gmock/gmock.h>

#include "las/las_file_checks.h"
#include "pcbin_las/app/las_view.h"
#include "support/fault_injection.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

using test::at;
using test::Bytes;
using test::Lines;

struct Repaired {
  Lines lines;
  Bytes bytes;  ///< of the new file, empty when there is none
};

/// Repairs a file with these contents, which must not change.
Repaired repair(const Bytes& las) {
  const test::TempDir dir;
  const std::string path = dir.write("map.las", las);
  const test::CapturedLines captured;
  las_repair(path);
  EXPECT_EQ(test::readFile(path), las);
  Repaired result{captured.lines(), {}};
  for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
    if (entry.path() != path) result.bytes = test::readFile(entry.path());
  return result;
}

/// Checks that the new file holds the first `count` records of `las` unchanged, and the number of
/// lines printed.
void expectRepair(const Bytes& las, std::size_t count, std::size_t lines = 2) {
  const Repaired result = repair(las);
  EXPECT_EQ(result.lines.size(), lines);
  EXPECT_THAT(result.lines.back(),
              testing::EndsWith(" with " + std::to_string(count) + " points."));
  test::expectWholeLas(result.bytes, count);
  EXPECT_TRUE(result.bytes.substr(227) == las.substr(227, 34 * count));
  EXPECT_EQ(result.bytes.substr(155, 24), las.substr(155, 24)) << "the offsets";
}

Bytes withCount(std::uint32_t count, Bytes las) {
  test::patch(las, 107, count);
  return las;
}

TEST(LasRepair, CopiesTheRecordsThatTheFileHolds) {
  const Bytes las = test::lasFile(60);
  expectRepair(las, 60);
  expectRepair(withCount(100, las), 60);
  expectRepair(withCount(4294967295, las) + Bytes(10, 'x'), 60, 3);
  expectRepair(withCount(50, las), 50, 3);
  expectRepair(withCount(0, las), 0, 3);
  expectRepair(las.substr(0, 227), 0);
  for (std::size_t size = 227 + 56 * 34; size < las.size(); ++size)
    expectRepair(las.substr(0, size), (size - 227) / 34, (size - 227) % 34 != 0 ? 3 : 2);
}

TEST(LasRepair, TakesNoMemoryForTheBytesBeforeThePoints) {
  constexpr std::uint32_t kSparse = 70 << 20;
  const test::TempDir dir;
  Bytes las = test::lasFile(0);
  test::patch(las, 96, kSparse);
  test::patch(las, 107, std::uint32_t{1});
  std::filesystem::resize_file(dir.write("map.las", las), kSparse + 34);
  const test::CapturedLines captured;
  {
    const test::FaultInjection noLargeBlock(
        {{.call = test::Call::kAllocate, .number = 1, .forGood = true, .smallest = 60 << 20}});
    las_repair(dir.path("map.las"));
  }
  EXPECT_THAT(captured.lines().back(), testing::EndsWith(" with 1 points."));
}

TEST(LasRepair, ChangesNoCoordinate) {
  Bytes las = test::lasHeader(2002) + test::lasRecord({2147483647, -2147483647, 0}) +
              test::lasRecord({-2147483647 - 1, 1, -1, 65535, 65535, 1, 2, -1e300});
  for (int k = 0; k < 2000; ++k)
    las += test::lasRecord({1073741 * k - 7, -214748 * k - 3, 7919 * k, 1, 2, 3, 4, 0.1 * k});
  expectRepair(las, 2002);
}

TEST(LasRepair, WarnsThatPositionsAreRoundedToAnotherScaleFactor) {
  Bytes las = test::lasFile(3);
  test::patch(las, 131, 0.00123);
  EXPECT_THAT(
      repair(las).lines[1],
      testing::HasSubstr("scale factors [0.00123, 0.001, 0.001] become [0.001, 0.001, 0.001]"
                         ", positions are re-rounded!"));
}

TEST(LasHeader, RepairChecksTheFormatFieldsAndViewerReadsAnyHeader) {
  for (std::size_t offset = 0; offset < 227; ++offset) {
    Bytes las = test::lasFile(3);
    las[offset] = static_cast<char>(~las[offset]);
    SCOPED_TRACE(testing::Message() << "byte " << offset);
    const test::TempDir dir;
    const std::string path = dir.write("map.las", las);
    const test::CapturedLines captured;
    las_view(path, 0, 9);
    const bool isOtherKind = offset == 24 || offset == 25 || (offset >= 96 && offset < 100) ||
                             (offset >= 104 && offset < 107);
    EXPECT_EQ(captured.lines().size(),
              19 + 2 * 3 + (at<std::uint32_t>(las, 107) > 3) + isOtherKind);
    if (isOtherKind || offset == 94 || offset == 95)
      EXPECT_EQ(repair(las).bytes, "");
    else if (offset < 131 || offset >= 155)
      expectRepair(las, 3);
    else  // other scale factors, with which records may not fit
      EXPECT_EQ((repair(las).bytes.size() - 227) % 34, 0U);
  }
}

}  // namespace

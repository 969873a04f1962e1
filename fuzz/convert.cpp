// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the conversion, for a person and for a script, with a pcbin file and a pose file. The
// first two bytes are the size of the pose file, which follows; the rest is the pcbin file.
#include <algorithm>
#include <array>
#include <cstring>

#include "fuzz_input.h"
#include "pcbin_las/export/pcbin_las.h"

namespace {

using test::at;

/// Requires that a LAS file contains the records that its header declares, with the bounds in the
/// header.
void checkLas(const std::string& las) {
  fuzz::require(las.size() >= 227);
  const std::size_t count = at<std::uint32_t>(las, 107);
  fuzz::require(las.size() == 227 + 34 * count);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    std::array<double, 2> bounds{};  // lowest, highest
    for (std::size_t k = 0; k < count; ++k) {
      const double coordinate =
          at<std::int32_t>(las, 227 + 34 * k + 4 * axis) * at<double>(las, 131 + 8 * axis) +
          at<double>(las, 155 + 8 * axis);
      bounds = k == 0
                   ? std::array{coordinate, coordinate}
                   : std::array{std::min(bounds[0], coordinate), std::max(bounds[1], coordinate)};
    }
    fuzz::require(at<double>(las, 187 + 16 * axis) == bounds[0]);
    fuzz::require(at<double>(las, 179 + 16 * axis) == bounds[1]);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::uint16_t poseSize = 0;
  if (size < sizeof(poseSize)) return 0;
  std::memcpy(&poseSize, data, sizeof(poseSize));
  const std::string input = fuzz::text(data + sizeof(poseSize), size - sizeof(poseSize));
  const std::string poses = input.substr(0, poseSize);
  if (fuzz::namesDistantSweep(poses)) return 0;
  fuzz::discardLines();
  const std::string pcbin = input.substr(poses.size());
  const test::TempDir& directory = fuzz::directory();
  Conversion conversion;
  conversion.pcbinPath = fuzz::inputFile(pcbin);
  if (!poses.empty()) conversion.pgoPath = directory.write("pgo.csv", poses);
  conversion.lasPath = directory.path("map.las");
  for (const Style style : {Style::kDialogue, Style::kScript}) {
    ConversionResult result;
    if (convertSurvey(conversion, style, result)) {
      const std::string written = test::readFile(conversion.lasPath);
      checkLas(written);
      fuzz::require(at<std::uint32_t>(written, 107) == result.written);
      fuzz::require(result.written <= pcbin.size() / 40 && result.written <= result.read);
    }
    std::filesystem::remove(conversion.lasPath);
  }
  return 0;
}

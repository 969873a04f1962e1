// SPDX-License-Identifier: BSD-3-Clause
// Copies the frames of a pcbin file with the reader and the writer, and compares the files. The
// first byte selects the kind of frames, the rest is the file.
#include <algorithm>
#include <climits>

#include "fuzz_input.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"

namespace {

/// The bytes of a file to which the frames of the file `contents` are copied, up to its end or
/// damage.
std::string copyOf(const std::string& contents, bool lidar) {
  modeling_app::PcbReader reader;
  if (!reader.open(fuzz::inputFile(contents), 0)) return {};
  const std::string path = fuzz::directory().path("frames");
  modeling_app::PcbWriter writer(std::make_shared<ferrun::AsyncTaskQueue>("not started"));
  fuzz::require(writer.open(path, 1000));
  if (lidar)
    for (const auto& frame : reader.readPcl(UINT_MAX)) fuzz::require(writer.writePcl(frame));
  else
    for (const auto& frame : reader.readPclRGB(UINT_MAX))
      fuzz::require(writer.writePcl(frame->cloud));
  writer.close();
  return test::readFile(path);
}

/// The frames of a file without what a copy need not keep: their numbers, for coloured frames the
/// rest of the header but for the count, and the colours unless they have been read before.
std::string comparable(std::string file, bool lidar, bool colours) {
  const auto clear = [&file](std::size_t offset, int count) {
    std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(offset), count, '\0');
  };
  for (std::size_t frame = 68, end = 0; frame < file.size(); frame = end) {
    clear(frame + 4, lidar ? 4 : 40);
    const std::size_t record = lidar ? 24 : 40;
    end = frame + 48 + record * test::at<std::uint32_t>(file, frame + 44);
    for (std::size_t point = frame + 48; point < end && !lidar && !colours; point += record) {
      clear(point + 12, 12);
      clear(point + 26, 2);
    }
  }
  return file.substr(68);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::discardLines();
  if (size == 0) return 0;
  const bool lidar = data[0] % 2 == 1;
  const std::string file = fuzz::text(data + 1, size - 1);
  const std::string copy = copyOf(file, lidar);
  if (copy.empty()) return 0;
  fuzz::require(comparable(copy, lidar, false) ==
                comparable(file.substr(0, copy.size()), lidar, false));
  fuzz::require(comparable(copyOf(copy, lidar), lidar, true) == comparable(copy, lidar, true));
  return 0;
}

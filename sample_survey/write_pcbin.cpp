// SPDX-License-Identifier: BSD-3-Clause
#include "write_pcbin.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <thread>

#include "pcbin_las/storage/pcb_format.h"
#include "pcbin_las/storage/pcb_writer.h"

namespace {

constexpr unsigned kBufferSize = 4U << 20;  // bytes
constexpr unsigned kMaximumQueued = 8;      // frames

/// Waits until at most `queued` of the `frames` frames given to `writer` are still to be written.
void waitForWriter(const modeling_app::PcbWriter& writer, unsigned frames, unsigned queued) {
  while (frames - writer.totalFrames() > queued)
    std::this_thread::sleep_for(std::chrono::microseconds(50));
}

}  // namespace

bool writePcbin(const std::string& path, unsigned frames,
                const std::function<std::shared_ptr<norvo::RgbCloud>(unsigned)>& makeCloud) {
  modeling_app::PcbWriter writer;
  if (!writer.open(path, kBufferSize)) return false;
  std::uintmax_t size = sizeof(modeling_app::PcbHeader);
  for (unsigned i = 0; i < frames; ++i) {
    const auto cloud = makeCloud(i);
    size += sizeof(modeling_app::PcbFrameHeader) +
            cloud->points.size() * sizeof(modeling_app::RgbPointRecord);
    if (!writer.writePcl(cloud)) return false;
    waitForWriter(writer, i + 1, kMaximumQueued);
  }
  waitForWriter(writer, frames, 0);  // close() would check only every five seconds
  writer.close();
  // The writer reports a failed write by a log line only.
  std::error_code error;
  return std::filesystem::file_size(path, error) == size && !error;
}

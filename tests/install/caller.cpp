// SPDX-License-Identifier: BSD-3-Clause
// Writes a frame with a pose, reads it, lets its cloud grow and prints the library's lines with a
// sink of its own. Ends with 0 when the frame came back unchanged.
#include <cstdio>
#include <memory>
#include <pcbin_las/platform/tracer.h>
#include <pcbin_las/storage/pcb_reader.h>
#include <pcbin_las/storage/pcb_writer.h>

struct OwnSink : ferrun::TracerSink {
  void writeLines(int level, const char* lines, std::size_t size) override {
    std::printf("own sink, level %d: %.*s", level, static_cast<int>(size), lines);
  }
};

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  ferrun::printLinesTo(std::make_shared<OwnSink>());
  {
    modeling_app::PcbWriter writer;
    if (!writer.open(argv[1], 1 << 20)) return 1;
    const auto frame = std::make_shared<modeling_app::PclFrame>();
    frame->rotation = Eigen::Quaternionf(0.5F, 0.5F, 0.5F, 0.25F);
    frame->translation = {10, 20, 30};
    frame->cloud = std::make_shared<norvo::IrtCloud>();
    frame->cloud->resize(100);
    if (!writer.writePcl(frame)) return 1;
  }
  modeling_app::PcbReader reader;
  if (!reader.open(argv[1], 1 << 20)) return 1;
  const auto frames = reader.readPcl(1);
  if (frames.size() != 1) return 1;
  const modeling_app::PclFrame& frame = *frames[0];
  for (int i = 0; i < 1000; ++i) frame.cloud->push_back(norvo::PointIRT{});
  const bool same = frame.rotation.coeffs() == Eigen::Vector4f(0.5F, 0.5F, 0.25F, 0.5F) &&
                    frame.translation == Eigen::Vector3f(10, 20, 30);
  return same && frame.cloud->size() == 1100 ? 0 : 1;
}

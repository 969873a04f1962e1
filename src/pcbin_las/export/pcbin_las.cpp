#include "pcbin_las/export/pcbin_las.h"

#include <memory>

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/write_las.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/rate.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcb_reader.h"

namespace {

constexpr unsigned kWriteBufferSize = 33554432;
constexpr float kProgressLinesPerSecond = 0.5F;

/// Says so when the output would destroy one of the inputs.
bool isInput(const std::string& lasPath, const std::string& pcbinPath, const std::string& pgoPath) {
  for (const std::string& input : {pcbinPath, pgoPath}) {
    if (!ferrun::File::isSameFile(lasPath, input)) continue;
    TRACE_ERROR("pcbin_las", "las file(%s) is the input file(%s), choose another output!",
                lasPath.c_str(), input.c_str());
    return true;
  }
  return false;
}

void reportProgress(unsigned framesDone, unsigned totalFrames) {
  static ferrun::Rate rate(kProgressLinesPerSecond);
  if (totalFrames == 0 || !rate.wakeup(0.0F)) return;
  const float percentage =
      static_cast<float>(framesDone) * 100.0F / static_cast<float>(totalFrames);
  TRACE_INFO("pcbin_las", "las write progress: %.1f%%.", static_cast<double>(percentage));
}

}  // namespace

bool pcbin_las(const std::string& pcbinPath, const std::string& pgoPath,
               const std::string& lasPath) {
  const auto reader = std::make_shared<modeling_app::PcbReader>();
  if (!reader->open(pcbinPath, modeling_app::PclBinary::kBufferSize)) {
    TRACE_ERROR("pcbin_las", "cannot open pcbin file: %s!", pcbinPath.c_str());
    return false;
  }
  norvo::PGOResultMsg msg;
  if (!loadPgoFile(pgoPath, msg)) return false;
  if (isInput(lasPath, pcbinPath, pgoPath)) return false;

  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xOffset = msg.offset.x();
  header.yOffset = msg.offset.y();
  header.zOffset = msg.offset.z();
  const auto writer = std::make_shared<pontra::LasWriter>();
  if (!writer->open(header, lasPath, kWriteBufferSize)) {
    TRACE_ERROR("pcbin_las", "open las writer error!");
    return false;
  }

  TRACE_INFO("pcbin_las", "las write starts, frames: %u, points: %u, pgoResult: %u",
             reader->totalFrames(), reader->totalPoints(),
             static_cast<unsigned>(msg.pgoPoses.size()));
  unsigned framesDone = 0;
  while (true) {
    const modeling_app::PclRGBFrames frames =
        reader->readPclRGB(modeling_app::PclBinary::kBatchFrames);
    if (frames.empty()) break;
    for (const auto& frame : frames) {
      if (write_las(writer, frame, msg) != 0) TRACE_ERROR("pcbin_las", "write pcl frame error!");
    }
    framesDone += static_cast<unsigned>(frames.size());
    reportProgress(framesDone, reader->totalFrames());
  }
  writer->close();
  reader->close();
  return true;
}

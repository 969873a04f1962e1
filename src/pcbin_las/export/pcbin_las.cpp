#include "pcbin_las/export/pcbin_las.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/write_las.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/rate.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/storage/pcb_format.h"
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

/// The points that a pcbin file holds by its header, or at most by its size; 0 for what has no
/// size.
std::uint64_t expectedPoints(const std::string& pcbinPath, std::uint64_t announced) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(pcbinPath, error);
  return error ? 0
               : std::min<std::uintmax_t>(announced, size / sizeof(modeling_app::RgbPointRecord));
}

void reportProgress(unsigned framesDone, unsigned totalFrames) {
  static ferrun::Rate rate(kProgressLinesPerSecond);
  if (totalFrames == 0 || !rate.wakeup(0.0F)) return;
  const float percentage =
      static_cast<float>(framesDone) * 100.0F / static_cast<float>(totalFrames);
  TRACE_INFO("pcbin_las", "las write progress: %.1f%%.", static_cast<double>(percentage));
}

/// Opens the writer for the header that the poses ask for.
bool openWriter(pontra::LasWriter& writer, const norvo::PGOResultMsg& msg,
                const std::string& lasPath) {
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xOffset = msg.offset.x();
  header.yOffset = msg.offset.y();
  header.zOffset = msg.offset.z();
  if (writer.open(header, lasPath, kWriteBufferSize)) return true;
  TRACE_ERROR("pcbin_las", "open las writer error!");
  return false;
}

/// Brings the counts up to a batch of frames that was handed to the writer.
void count(const modeling_app::PclRGBFrames& frames, const pontra::LasWriter& writer,
           ConversionResult& result) {
  result.framesFound += frames.size();
  for (const auto& frame : frames) result.read += frame->cloud ? frame->cloud->points.size() : 0;
  result.refused = writer.refused();
  result.writeFailed = writer.failed();
  if (!result.writeFailed) result.noPose = result.read - writer.accepted() - result.refused;
}

/// Whether nothing more can be converted, or an unattended run is to stop.
bool mustEnd(const Conversion& conversion, const ConversionResult& result) {
  if (result.readEnd == modeling_app::ReadEnd::kNoMemory) return true;
  return conversion.unattended &&
         (result.writeFailed || result.readEnd == modeling_app::ReadEnd::kReadError);
}

void writeFrames(const Conversion& conversion, modeling_app::PcbReader& reader,
                 const std::shared_ptr<pontra::LasWriter>& writer, const norvo::PGOResultMsg& msg,
                 ConversionResult& result) {
  while (true) {
    const modeling_app::PclRGBFrames frames =
        reader.readPclRGB(modeling_app::PclBinary::kBatchFrames);
    result.readEnd = std::max(result.readEnd, reader.lastReadEnd());
    if (frames.empty()) break;
    for (const auto& frame : frames) {
      if (write_las(writer, frame, msg, !conversion.unattended) != 0)
        TRACE_ERROR("pcbin_las", "write pcl frame error!");
    }
    count(frames, *writer, result);
    if (conversion.progress) conversion.progress(result);
    if (!conversion.unattended)
      reportProgress(static_cast<unsigned>(result.framesFound), reader.totalFrames());
    if (mustEnd(conversion, result)) break;
  }
}

/// The writer's part of the result, once it is closed.
void takeWritten(const pontra::LasWriter& writer, ConversionResult& result) {
  const pontra::LasHeader& header = writer.header();
  result.written = header.numberOfPointRecords;
  result.writeFailed = writer.failed();
  result.offset = {header.xOffset, header.yOffset, header.zOffset};
  result.low = {header.minX, header.minY, header.minZ};
  result.high = {header.maxX, header.maxY, header.maxZ};
}

}  // namespace

bool convertSurvey(const Conversion& conversion, ConversionResult& result) {
  const auto reader = std::make_shared<modeling_app::PcbReader>();
  if (!reader->open(conversion.pcbinPath, modeling_app::PclBinary::kBufferSize)) {
    TRACE_ERROR("pcbin_las", "cannot open pcbin file: %s!", conversion.pcbinPath.c_str());
    return false;
  }
  result.framesAnnounced = reader->announcedFrames();
  result.pointsAnnounced = reader->announcedPoints();
  norvo::PGOResultMsg msg;
  if (!(conversion.unattended
            ? loadPgoFileStrictly(conversion.pgoPath, msg, result.poseLinesSkipped)
            : loadPgoFile(conversion.pgoPath, msg)))
    return false;
  if (isInput(conversion.lasPath, conversion.pcbinPath, conversion.pgoPath)) return false;

  const auto writer = std::make_shared<pontra::LasWriter>();
  if (!openWriter(*writer, msg, conversion.lasPath)) return false;
  TRACE_INFO("pcbin_las", "las write starts, frames: %u, points: %u, pgoResult: %u",
             reader->totalFrames(), reader->totalPoints(),
             static_cast<unsigned>(msg.pgoPoses.size()));
  writer->expectPoints(expectedPoints(conversion.pcbinPath, result.pointsAnnounced));
  writeFrames(conversion, *reader, writer, msg, result);
  writer->close();
  takeWritten(*writer, result);
  reader->close();
  return result.readEnd != modeling_app::ReadEnd::kNoMemory;
}

bool pcbin_las(const std::string& pcbinPath, const std::string& pgoPath,
               const std::string& lasPath) {
  Conversion conversion;
  conversion.pcbinPath = pcbinPath;
  conversion.pgoPath = pgoPath;
  conversion.lasPath = lasPath;
  ConversionResult result;
  return convertSurvey(conversion, result);
}

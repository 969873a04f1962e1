#include "pcbin_las/export/pcbin_las.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/write_las.h"
#include "pcbin_las/las/gps_time.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/rate.h"
#include "pcbin_las/storage/pcb_format.h"
#include "pcbin_las/storage/pcb_reader.h"

namespace {

using modeling_app::PclRGBFrames;

constexpr float kProgressLinesPerSecond = 0.5F;

/// Whether the output is one of the inputs; prints an error line if so.
bool isInput(const std::string& lasPath, const std::string& pcbinPath, const std::string& pgoPath) {
  for (const std::string& input : {pcbinPath, pgoPath}) {
    if (!ferrun::File::isSameFile(lasPath, input)) continue;
    TRACE_ERROR("pcbin_las", "las file(%s) is the input file(%s), choose another output!",
                lasPath.c_str(), input.c_str());
    return true;
  }
  return false;
}

/// The number of points announced by the header of a pcbin file, limited by the size of the file; 0
/// if it has no size.
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

/// Opens the writer with the header for the poses and the options.
bool openWriter(pontra::LasWriter& writer, const norvo::PGOResultMsg& msg,
                const Conversion& conversion) {
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xOffset = msg.offset.x();
  header.yOffset = msg.offset.y();
  header.zOffset = msg.offset.z();
  if (conversion.points.gpsTime) header.globalEncoding = pontra::kAdjustedGpsTimeFlag;
  std::vector<std::string> records;
  if (conversion.epsg != 0) records.push_back(pontra::projectedSystemRecord(conversion.epsg));
  if (writer.open(header, conversion.lasPath, pontra::LasWriter::kBufferSize, records)) return true;
  TRACE_ERROR("pcbin_las", "open las writer error!");
  return false;
}

/// The first time stamp that is finite and not 0.
std::optional<double> firstTimeStamp(const PclRGBFrames& frames) {
  for (const auto& frame : frames) {
    for (const norvo::PointRGBIST& point : frame->cloud->points) {
      if (std::isfinite(point.timestamp) && point.timestamp != 0) return point.timestamp;
    }
  }
  return std::nullopt;
}

void countRead(const PclRGBFrames& frames, ConversionResult& result) {
  result.framesFound += frames.size();
  for (const auto& frame : frames) result.read += frame->cloud->points.size();
}

PclRGBFrames readBatch(modeling_app::PcbReader& reader, ConversionResult& result) {
  PclRGBFrames frames = reader.readPclRGB(modeling_app::PclBinary::kBatchFrames);
  result.readEnd = std::max(result.readEnd, reader.lastReadEnd());
  return frames;
}

/// Reads up to the first batch of frames with a time stamp, and counts the points before as
/// refused. Sets `result.wrongClock`, with an error line, when the time stamp is not Unix time.
PclRGBFrames readToFirstTime(modeling_app::PcbReader& reader, ConversionResult& result) {
  PclRGBFrames frames = readBatch(reader, result);
  std::optional<double> time = firstTimeStamp(frames);
  for (; !time && !frames.empty(); time = firstTimeStamp(frames = readBatch(reader, result))) {
    countRead(frames, result);
    result.refused = result.read;
  }
  result.wrongClock = time && !pontra::isUnixTime(*time);
  if (result.wrongClock)
    TRACE_ERROR("pcbin_las", "time stamp %.6f is no Unix time in seconds, it looks like %s!", *time,
                std::string(pontra::likelyClock(*time)).c_str());
  return frames;
}

/// Prints one warning when the clock in the header does not seem to match the time stamps.
void warnOfClock(const Conversion& conversion, const PclRGBFrames& frames) {
  if (!conversion.unattended || conversion.points.gpsTime) return;
  const std::optional<double> time = firstTimeStamp(frames);
  if (time && pontra::isUnixTime(*time))
    TRACE_WARNING("pcbin_las",
                  "time stamps look like Unix seconds, the LAS header says GPS week seconds: "
                  "see option --gps-time!");
}

/// Updates the counts after a batch of frames.
void count(const PclRGBFrames& frames, const pontra::LasWriter& writer, ConversionResult& result) {
  countRead(frames, result);
  result.refused = writer.refused();
  result.writeFailed = writer.failed();
  if (!result.writeFailed) result.noPose = result.read - writer.accepted() - result.refused;
}

/// Whether the conversion cannot continue, or must end because it is unattended.
bool mustEnd(const Conversion& conversion, const ConversionResult& result) {
  if (result.readEnd == modeling_app::ReadEnd::kNoMemory) return true;
  return conversion.unattended &&
         (result.writeFailed || result.readEnd == modeling_app::ReadEnd::kReadError);
}

void writeFrames(const Conversion& conversion, PclRGBFrames frames, modeling_app::PcbReader& reader,
                 const std::shared_ptr<pontra::LasWriter>& writer, const norvo::PGOResultMsg& msg,
                 ConversionResult& result) {
  PointOptions options = conversion.points;
  options.announce = !conversion.unattended;
  for (; !frames.empty(); frames = readBatch(reader, result)) {
    for (const auto& frame : frames) {
      if (write_las(writer, frame, msg, options) != 0)
        TRACE_ERROR("pcbin_las", "write pcl frame error!");
    }
    count(frames, *writer, result);
    if (conversion.progress) conversion.progress(result);
    if (!conversion.unattended)
      reportProgress(static_cast<unsigned>(result.framesFound), reader.totalFrames());
    if (mustEnd(conversion, result)) break;
    frames.clear();  // so that the next batch can reuse their memory
  }
}

/// Stores the part of the result that the closed writer provides.
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
  PclRGBFrames frames;
  if (conversion.points.gpsTime) frames = readToFirstTime(*reader, result);
  if (result.wrongClock || !openWriter(*writer, msg, conversion)) return false;
  TRACE_INFO("pcbin_las", "las write starts, frames: %u, points: %u, pgoResult: %u",
             reader->totalFrames(), reader->totalPoints(),
             static_cast<unsigned>(msg.pgoPoses.size()));
  writer->refuse(result.refused);
  writer->expectPoints(expectedPoints(conversion.pcbinPath, result.pointsAnnounced));
  if (!conversion.points.gpsTime) frames = readBatch(*reader, result);
  warnOfClock(conversion, frames);
  writeFrames(conversion, std::move(frames), *reader, writer, msg, result);
  writer->close();
  if (writer->leftOut() > 0)
    TRACE_WARNING("pcbin_las", "%llu points left out, their time stamps are no Unix time!",
                  static_cast<unsigned long long>(writer->leftOut()));
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

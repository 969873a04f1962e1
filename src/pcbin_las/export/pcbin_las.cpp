// SPDX-License-Identifier: BSD-3-Clause
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

#include "pcbin_las/export/map_position.h"
#include "pcbin_las/export/map_report.h"
#include "pcbin_las/export/no_points.h"
#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/export/time_stamps.h"
#include "pcbin_las/export/write_las.h"
#include "pcbin_las/las/gps_time.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/available_cores.h"
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

void printProgress(unsigned framesDone, unsigned totalFrames) {
  static ferrun::Rate rate(kProgressLinesPerSecond);
  if (totalFrames == 0 || !rate.wakeup(0.0F)) return;
  const float percentage =
      static_cast<float>(framesDone) * 100.0F / static_cast<float>(totalFrames);
  TRACE_INFO("pcbin_las", "las write progress: %.1f%%.", static_cast<double>(percentage));
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

/// Whether the conversion uses an option that changes what the LAS file holds.
bool hasOutputOption(const Conversion& conversion) {
  const PointOptions& points = conversion.points;
  return conversion.epsg != 0 || points.rgb16 || points.sourceId;
}

/// The number of threads that compress points.
unsigned threadsOf(const Conversion& conversion) {
  return conversion.threads != 0 ? conversion.threads
                                 : std::min(ferrun::availableCores(), kMostThreads);
}

/// One run of the convert mode.
class Driver {
 public:
  Driver(const Conversion& conversion, Style style, ConversionResult& result,
         const Progress& progress)
      : conversion_(conversion), style_(style), result_(result), progress_(progress) {}

  bool run();

 private:
  bool openReader();
  bool openInputs();
  bool openWriter();
  PclRGBFrames readBatch();
  PclRGBFrames readAndCheckTime();
  void writeFrames(PclRGBFrames frames);
  void writeBatch(const PclRGBFrames& frames);
  void write(const std::shared_ptr<modeling_app::PclRGBFrame>& frame);
  void countRead(const PclRGBFrames& frames);
  void countLeftOut();
  bool mustEnd() const;
  void finish();

  const Conversion& conversion_;
  const Style style_;
  ConversionResult& result_;
  const Progress& progress_;
  std::shared_ptr<modeling_app::PcbReader> reader_ = std::make_shared<modeling_app::PcbReader>();
  norvo::PGOResultMsg poses_;
  PoseFileReport poseReport_;  ///< in the style of a script
  std::shared_ptr<pontra::LasWriter> writer_ = std::make_shared<pontra::LasWriter>();
  PointSample sample_;
  FrameTally tally_;
};

bool Driver::openReader() {
  if (reader_->open(conversion_.pcbinPath, modeling_app::PclBinary::kBufferSize)) return true;
  TRACE_ERROR("pcbin_las", "cannot open pcbin file: %s!", conversion_.pcbinPath.c_str());
  return false;
}

/// Opens the pcbin file and loads the pose file.
bool Driver::openInputs() {
  if (!openReader()) return false;
  result_.framesAnnounced = reader_->announcedFrames();
  result_.pointsAnnounced = reader_->announcedPoints();
  if (style_ == Style::kDialogue) return loadPgoFile(conversion_.pgoPath, poses_);
  const bool loaded = loadPgoFile(conversion_.pgoPath, poses_, poseReport_);
  result_.poseLinesSkipped = poseReport_.skipped;
  if (loaded) checkPoses(conversion_.pgoPath, poseReport_, poses_);
  return loaded;
}

/// Opens the writer with the header for the poses and the options.
bool Driver::openWriter() {
  writer_->setShownName(conversion_.lasName);
  pontra::LasHeader header;
  pontra::LasHeaderInit(&header, pontra::kPointFormat3);
  header.xOffset = poses_.offset.x();
  header.yOffset = poses_.offset.y();
  header.zOffset = poses_.offset.z();
  if (conversion_.points.clock) header.globalEncoding = pontra::kAdjustedGpsTimeFlag;
  std::vector<std::string> records;
  if (conversion_.epsg != 0) records.push_back(pontra::projectedSystemRecord(conversion_.epsg));
  const std::string& path = conversion_.lasPath;
  writer_->useDescriptor(conversion_.lasDescriptor);
  if (conversion_.compress ? writer_->openCompressed(header, path, threadsOf(conversion_), records)
                           : writer_->open(header, path, pontra::LasWriter::kBufferSize, records))
    return true;
  TRACE_ERROR("pcbin_las", "open las writer error!");
  return false;
}

PclRGBFrames Driver::readBatch() {
  PclRGBFrames frames = reader_->readPclRGB(modeling_app::PclBinary::kBatchFrames);
  result_.readEnd = std::max(result_.readEnd, reader_->lastReadEnd());
  return frames;
}

/// Reads the first batch of frames and checks the first time stamp of the recording: sets
/// `wrongClock`, with an error line, when the chosen clock cannot have it. If the first batch has
/// none, the others are searched and the file is opened again, unless it is a pipe.
PclRGBFrames Driver::readAndCheckTime() {
  PclRGBFrames frames = readBatch();
  std::optional<double> time = firstTimeStamp(frames);
  std::error_code error;
  if (!time && !frames.empty() && std::filesystem::is_regular_file(conversion_.pcbinPath, error)) {
    while (!time && !frames.empty()) time = firstTimeStamp(frames = readBatch());
    reader_->close();
    result_.readEnd = modeling_app::ReadEnd::kEndOfFile;
    frames.clear();
    if (openReader()) frames = readBatch();
  }
  result_.wrongClock = time && !isFirstTimeOf(*conversion_.points.clock, *time);
  return frames;
}

void Driver::writeFrames(PclRGBFrames frames) {
  for (; !frames.empty(); frames = readBatch()) {
    writeBatch(frames);
    countRead(frames);
    countLeftOut();
    if (progress_) progress_(result_);
    if (style_ == Style::kDialogue)
      printProgress(static_cast<unsigned>(result_.framesFound), reader_->totalFrames());
    if (mustEnd()) break;
    frames.clear();  // so that the next batch can reuse their memory
  }
}

void Driver::writeBatch(const PclRGBFrames& frames) {
  std::optional<ferrun::Tracer::Gathering> gathering;
  if (style_ == Style::kDialogue)
    gathering.emplace(*ferrun::Singleton<ferrun::Tracer>::getInstance());
  for (const auto& frame : frames) write(frame);
}

void Driver::write(const std::shared_ptr<modeling_app::PclRGBFrame>& frame) {
  if (style_ == Style::kScript) sample_.add(frame->cloud->points);
  const bool written = style_ == Style::kDialogue
                           ? write_las(writer_, frame, poses_, conversion_.points, tally_) == 0
                           : writeFrame(*writer_, *frame, poses_, conversion_.points, tally_);
  if (!written) TRACE_ERROR("pcbin_las", "write pcl frame error!");
}

void Driver::countRead(const PclRGBFrames& frames) {
  result_.framesFound += frames.size();
  for (const auto& frame : frames) result_.read += frame->cloud->points.size();
}

void Driver::countLeftOut() {
  result_.noPose = tally_.noPose;
  result_.refused = writer_->refused();
  result_.writeFailed = writer_->failed();
}

/// Whether the conversion cannot continue, or must end because it serves a script.
bool Driver::mustEnd() const {
  if (result_.readEnd == modeling_app::ReadEnd::kNoMemory) return true;
  return style_ == Style::kScript &&
         (result_.writeFailed || result_.readEnd == modeling_app::ReadEnd::kReadError);
}

/// Closes both files and completes the result.
void Driver::finish() {
  const bool namesCauses =
      style_ == Style::kScript || conversion_.points.clock || hasOutputOption(conversion_);
  writer_->close(!namesCauses);
  countLeftOut();
  if (namesCauses && result_.refused > 0)
    warnOfRefused(conversion_, result_.refused, tally_.refused);
  const pontra::LasHeader& header = writer_->header();
  result_.written = header.numberOfPointRecords;
  result_.offset = {header.xOffset, header.yOffset, header.zOffset};
  result_.low = {header.minX, header.minY, header.minZ};
  result_.high = {header.maxX, header.maxY, header.maxZ};
  reader_->close();
  if (conversion_.points.clock) printTimes(tally_.times);
  checkMapPosition(conversion_.epsg, result_);
  if (style_ == Style::kDialogue) return;
  if (result_.written > 0) {
    result_.movement = checkPoints(sample_, poses_);
    describeMap(result_);
  } else {
    result_.whyNoPoints = whyNoPoints(conversion_, result_, poseReport_, sample_);
  }
}

bool Driver::run() {
  if (!openInputs() || isInput(conversion_.lasPath, conversion_.pcbinPath, conversion_.pgoPath))
    return false;
  PclRGBFrames frames;
  if (conversion_.points.clock) frames = readAndCheckTime();
  if (result_.wrongClock || !openWriter()) return false;
  TRACE_INFO("pcbin_las", "las write starts, frames: %u, points: %u, pgoResult: %u",
             reader_->totalFrames(), reader_->totalPoints(),
             static_cast<unsigned>(poses_.pgoPoses.size()));
  writer_->expectPoints(expectedPoints(conversion_.pcbinPath, result_.pointsAnnounced));
  if (!conversion_.points.clock) {
    frames = readBatch();
    const std::optional<double> time = firstTimeStamp(frames);
    if (time && (style_ == Style::kScript || hasOutputOption(conversion_))) warnOfClock(*time);
  }
  writeFrames(std::move(frames));
  finish();
  return result_.readEnd != modeling_app::ReadEnd::kNoMemory;
}

}  // namespace

bool isLazName(std::string_view name) {
  constexpr std::string_view kEnding = ".laz";
  return name.size() >= kEnding.size() &&
         std::ranges::equal(name.substr(name.size() - kEnding.size()), kEnding, [](char a, char b) {
           return (a >= 'A' && a <= 'Z' ? a - 'A' + 'a' : a) == b;
         });
}

bool convertSurvey(const Conversion& conversion, Style style, ConversionResult& result,
                   const Progress& progress) {
  return Driver(conversion, style, result, progress).run();
}

bool pcbin_las(const std::string& pcbinPath, const std::string& pgoPath,
               const std::string& lasPath) {
  Conversion conversion;
  conversion.pcbinPath = pcbinPath;
  conversion.pgoPath = pgoPath;
  conversion.lasPath = lasPath;
  conversion.compress = isLazName(lasPath);
  ConversionResult result;
  return convertSurvey(conversion, Style::kDialogue, result);
}

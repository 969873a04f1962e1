// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/las_writer.h"

#include <cmath>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "pcbin_las/las/compressed_records.h"
#include "pcbin_las/laz/laszip_record.h"
#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/trace_macros.h"

namespace pontra {
namespace {

constexpr std::uint32_t kMostRecords = std::numeric_limits<std::uint32_t>::max();

// Records written this soon after they were encoded are still in the processor's cache.
constexpr unsigned kLargestBuffer = 256U << 10;  // bytes

constexpr std::uint64_t kReservationStep = (256U << 20) / sizeof(LasPointRecord);  // records

/// The header with the number of the variable-length records and the offset behind them.
LasHeader withRecords(const LasHeader& header, std::span<const std::string> records) {
  LasHeader complete = header;
  complete.numberOfVLR = static_cast<std::uint32_t>(records.size());
  complete.pointDataOffset = sizeof(LasHeader);
  for (const std::string& record : records)
    complete.pointDataOffset += static_cast<std::uint32_t>(record.size());
  return complete;
}

}  // namespace

LasWriter::LasWriter() = default;

LasWriter::~LasWriter() {
  close();
}

bool LasWriter::open(const LasHeader& header, const std::string& path, unsigned bufferSize,
                     std::span<const std::string> records) {
  const LasHeader complete = withRecords(header, records);
  const auto writeRecords = [records](ferrun::File& file) {
    return std::ranges::all_of(records, [&file](const std::string& record) {
      const auto size = static_cast<int>(record.size());
      return file.writeData(record.data(), size) == size;
    });
  };
  return openWith(complete, path, bufferSize, writeRecords, [&] { return openFile(path); });
}

bool LasWriter::openOwn(const LasHeader& header, const std::string& path, const std::string& input,
                        unsigned bufferSize, const WriteBytesBeforePoints& writeBytes) {
  return openWith(header, path, bufferSize, writeBytes, [&] { return file_.openOwn(path, input); });
}

template <class OpenFile>
bool LasWriter::openWith(const LasHeader& header, const std::string& path, unsigned bufferSize,
                         const WriteBytesBeforePoints& writeBytes, OpenFile openFile) {
  if (refuseSecondOpen(path)) return false;
  headerEvery_ = std::max<std::size_t>(bufferSize / sizeof(LasPointRecord), 1);
  capacity_ = std::min<std::size_t>(headerEvery_, kLargestBuffer / sizeof(LasPointRecord));
  records_.reset(new (std::nothrow) LasPointRecord[capacity_]);
  file_.setWMBuffer(0);  // the records are the buffer
  if (!records_) {
    TRACE_MEMBER_ERROR("LasWriter", "open", "file(%s): no memory for a buffer of %u bytes!",
                       path.c_str(), bufferSize);
    return false;
  }
  begin(header, path);
  if (!openFile()) return false;
  file_.setShownName(shownName_);

  dataStart_ = header.pointDataOffset;
  if (dataStart_ > std::int64_t{sizeof(LasHeader)}) file_.seek(sizeof(LasHeader));
  if ((dataStart_ > std::int64_t{sizeof(LasHeader)} && !writeBytes(file_)) || !writeHeader()) {
    file_.discard();
    return false;
  }
  limit_ = capacity_;
  return true;
}

bool LasWriter::openFile(const std::string& path) {
  return descriptor_ < 0 ? file_.open(path, ferrun::File::kWrite)
                         : file_.openDescriptor(path, descriptor_);
}

/// Prints an error line and returns true when the writer is open.
bool LasWriter::refuseSecondOpen(const std::string& path) {
  if (!file_.isOpen()) return false;
  TRACE_MEMBER_ERROR("LasWriter", "open", "file(%s): the writer is open for file(%s)!",
                     path.c_str(), path_.c_str());
  return true;
}

/// Sets the members for a new file. Throws std::bad_alloc, so that it comes before the file is
/// opened: the destructor would write a header there.
void LasWriter::begin(const LasHeader& header, const std::string& path) {
  path_ = path;
  header_ = header;
  scale_ = {header.xScaleFactor, header.yScaleFactor, header.zScaleFactor};
  used_ = written_ = 0;
  bufferBounds_ = writtenBounds_ = {};
  expected_ = reserved_ = refused_ = lost_ = 0;
  failed_ = headerStale_ = false;
  headerOnDisk_ = header;
  headerOnDisk_.numberOfPointRecords = 0;
}

bool LasWriter::openCompressed(const LasHeader& header, const std::string& path, unsigned threads,
                               std::span<const std::string> records) {
  if (refuseSecondOpen(path)) return false;
  file_.setWMBuffer(0);
  begin(header, path);
  if (!openFile(path)) return false;
  bool started = false;
  if (!file_.isRegular()) {
    TRACE_MEMBER_ERROR("LasWriter", "openCompressed",
                       "file(%s) is not a regular file, compressed points cannot be written there: "
                       "choose a file, or a name that does not end in .laz!",
                       path.c_str());
  } else {
    try {
      started = startCompression(threads, records);
    } catch (const std::bad_alloc&) {
      TRACE_MEMBER_ERROR("LasWriter", "openCompressed", "file(%s): no memory to compress points!",
                         path.c_str());
    }
  }
  if (started) return true;
  compressed_.reset();
  file_.discard();
  return false;
}

/// Writes a compressed file without points. Throws std::bad_alloc.
bool LasWriter::startCompression(unsigned threads, std::span<const std::string> records) {
  std::vector<std::string> all(records.begin(), records.end());
  all.push_back(compressionRecord());
  header_ = withRecords(header_, all);
  std::string front(reinterpret_cast<const char*>(&header_), sizeof(header_));
  for (const std::string& record : all) front += record;
  compressed_ = std::make_unique<CompressedRecords>(file_, front, threads);
  if (!compressed_->start()) return false;
  records_ = compressed_->exchange(nullptr, 0, {});
  capacity_ = headerEvery_ = headerDue_ = laz::kChunkPoints;
  limit_ = records_ ? capacity_ : 0;
  return limit_ > 0;
}

/// Size of the file with `count` records.
std::int64_t LasWriter::endOf(std::uint64_t count) const {
  return dataStart_ + static_cast<std::int64_t>(count * sizeof(LasPointRecord));
}

/// Divides a block's coordinates by the scale factors and widens the bounds. False, without the
/// latter, when one does not fit.
bool LasWriter::toSteps(std::array<Values, 3>& coordinates) {
  using Pair [[gnu::vector_size(16)]] = double;
  StepBounds bounds;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    double* const values = coordinates[axis].data();
    const double scale = scale_[axis];
    Pair low = {values[0] / scale, values[1] / scale};
    Pair high = low;
    Pair sum = {};  // not finite after a number that is not
    for (std::size_t k = 0; k < kBlock; k += 2) {
      const Pair steps = Pair{values[k], values[k + 1]} / scale;
      std::memcpy(values + k, &steps, sizeof(steps));
      low = steps < low ? steps : low;
      high = steps > high ? steps : high;
      sum += steps;
    }
    const double lowest = std::min(low[0], low[1]);
    const double highest = std::max(high[0], high[1]);
    if (!(fitsSteps(lowest) && fitsSteps(highest) && std::isfinite(sum[0] + sum[1]))) return false;
    bounds.widen(axis, nearestStep(lowest), nearestStep(highest));
  }
  bufferBounds_.widen(bounds);
  return true;
}

/// The slow path of writePoint(): the buffer is full, or nothing can be appended.
bool LasWriter::makeRoom() {
  if (!file_.isOpen()) return false;
  if (failed_ || (used_ > 0 && !writeOut())) {
    ++lost_;
    return false;
  }
  limit_ = std::min({capacity_, headerDue_, std::size_t{kMostRecords - written_}});
  if (limit_ > 0) return true;
  ++refused_;
  return false;
}

void LasWriter::expectPoints(std::uint64_t count) {
  expected_ = std::min<std::uint64_t>(count, kMostRecords);
}

/// Reserves disk space when the buffered records exceed the reserved space and more are expected.
void LasWriter::reserve() {
  if (written_ + used_ <= reserved_ || reserved_ >= expected_) return;
  const std::uint64_t next = std::min(reserved_ + kReservationStep, expected_);
  if (file_.reserve(endOf(next)))
    reserved_ = next;
  else
    expected_ = 0;
}

/// Writes the buffered records and, when it is due, a header that describes the records on disk.
/// After a failed write of records these are the whole records that reached the disk, and no more
/// are appended. After a failed write of the header, it is written again later. False when records
/// are lost.
bool LasWriter::writeOut() {
  if (compressed_) return compressOut();
  reserve();
  const auto size = static_cast<int>(used_ * sizeof(LasPointRecord));
  const int done = file_.writeData(reinterpret_cast<const char*>(records_.get()), size);
  if (done == size) {
    writtenBounds_.widen(bufferBounds_);
    written_ += static_cast<std::uint32_t>(used_);
  } else {
    const auto whole = static_cast<std::size_t>(std::max(done, 0)) / sizeof(LasPointRecord);
    for (std::size_t i = 0; i < whole; ++i) writtenBounds_.widen(records_[i]);
    written_ += static_cast<std::uint32_t>(whole);
    lost_ += used_ - whole;
    failed_ = true;
    limit_ = 0;
  }
  headerDue_ -= used_;
  used_ = 0;
  bufferBounds_ = {};
  if (headerDue_ == 0 || failed_ || headerStale_) writeHeader();
  return !failed_;
}

/// Passes the buffered records on to be compressed and takes a new buffer.
bool LasWriter::compressOut() {
  const auto count = static_cast<std::uint32_t>(std::exchange(used_, 0));
  written_ += count;
  records_ = compressed_->exchange(std::move(records_), count, std::exchange(bufferBounds_, {}));
  failed_ = !records_;
  if (failed_) limit_ = 0;
  return !failed_;
}

/// Writes a header that describes the records on disk, then seeks to their end.
bool LasWriter::writeHeader() {
  describeRecords(header_, written_, writtenBounds_);
  const std::int64_t end = endOf(written_);
  if (failed_) file_.truncate(end);  // drops the part of a record that reached the disk
  file_.seek(0);
  headerStale_ = ferrun::writeImage(file_, header_) != sizeof(LasHeader);
  if (!headerStale_) headerOnDisk_ = header_;
  file_.seek(end);
  headerDue_ = headerEvery_;
  return !headerStale_;
}

/// Writes the header at the end. If that fails repeatedly, the points that the header on disk does
/// not count are lost.
void LasWriter::writeLastHeader() {
  constexpr int kMostTries = 3;
  for (int i = 0; i < kMostTries; ++i) {
    if (writeHeader()) return;
  }
  lost_ += written_ - headerOnDisk_.numberOfPointRecords;
  header_ = headerOnDisk_;
}

bool LasWriter::close(bool printsRefused) {
  if (!file_.isOpen()) return false;
  if (used_ > 0) writeOut();
  if (compressed_) {
    if (!compressed_->finish()) failed_ = true;
    header_ = compressed_->header();
    lost_ += compressed_->lost();
    compressed_.reset();
    headerDue_ = headerEvery_;
  }
  if (headerDue_ < headerEvery_ || headerStale_) writeLastHeader();
  if (reserved_ > written_) file_.truncate(endOf(written_));
  file_.close();
  if (file_.writeError() != 0) failed_ = true;
  records_.reset();
  limit_ = 0;
  if (printsRefused && refused_ + lost_ > 0)
    TRACE_MEMBER_WARNING(
        "LasWriter", "close",
        "file(%s): %llu points not written, %snot finite or too far from the offset for "
        "the scale factor or beyond 4294967295 records!",
        path_.c_str(), static_cast<unsigned long long>(refused_ + lost_),
        lost_ > 0 ? "lost to a failed write, or " : "");
  return !failed();
}

}  // namespace pontra

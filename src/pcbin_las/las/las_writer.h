// SPDX-License-Identifier: BSD-3-Clause
// Writes LAS 1.2 files of point data record format 3.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>
#include <string>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/las/step_bounds.h"
#include "pcbin_las/platform/file.h"

namespace pontra {

class CompressedRecords;

/// One point to write.
struct LasPoint {
  double x;  ///< relative to the header's offset, in the file's unit; stored as x / xScaleFactor
  double y;
  double z;
  std::uint16_t red;
  std::uint16_t green;
  std::uint16_t blue;
  std::uint16_t intensity;
  double gpsTime;  ///< seconds
  std::uint16_t pointSourceID = 0;
};

/// Creates a LAS file and appends points to it. The header on disk is rewritten at intervals, after
/// the records that it counts, so that the file of a killed writer is valid up to the count in its
/// header. For use by one thread at a time.
class LasWriter {
 public:
  LasWriter();
  LasWriter(const LasWriter&) = delete;
  LasWriter& operator=(const LasWriter&) = delete;

  /// Closes an open writer.
  virtual ~LasWriter();

  /// Creates the file at `path`, or empties it, and writes `header` with count and bounds zero;
  /// scale factors must not be 0. The header on disk is updated after every `bufferSize` bytes of
  /// records, rounded down to whole records, at least one; no more are buffered. False, with an
  /// error line, when the file cannot be created or written, there is no memory for the buffer (the
  /// writer is then closed), or the writer is already open (it stays open for its file).
  ///
  /// `records` are variable-length records, byte for byte; they are written between header and
  /// points. The header on disk gets their number and the offset behind them.
  bool open(const LasHeader& header, const std::string& path, unsigned bufferSize,
            std::span<const std::string> records = {});

  /// The next open() or openCompressed() writes to the file that `descriptor` is open for, instead
  /// of opening its path by name; -1: it opens the path.
  void useDescriptor(int descriptor) { descriptor_ = descriptor; }

  /// Writes the bytes between the header and pointDataOffset at the current position of the file;
  /// false when it cannot.
  using WriteBytesBeforePoints = std::function<bool(ferrun::File&)>;

  /// Like open(), but opens the file with File::openOwn(), where `input` is described. Keeps
  /// numberOfVLR and pointDataOffset of `header`; `writeBytes` writes what lies before the points.
  /// If that fails, or the header cannot be written, the file is removed unless it existed before.
  bool openOwn(const LasHeader& header, const std::string& path, const std::string& input,
               unsigned bufferSize, const WriteBytesBeforePoints& writeBytes);

  /// Like open(), but the points are compressed with `threads` threads, 1 to 64, of which this one
  /// counts as one; `path` must then lead to a regular file. The bytes do not depend on the number.
  /// A variable-length record that says how they are compressed is added after `records`. The
  /// header on disk is updated after every million points; about 3 MiB are buffered for each
  /// thread.
  bool openCompressed(const LasHeader& header, const std::string& path, unsigned threads,
                      std::span<const std::string> records = {});

  /// The return byte of every record written.
  static constexpr std::uint8_t kReturn1Of1 = 0x09;

  /// Usual size to give to open(): 32 MiB.
  static constexpr unsigned kBufferSize = 33554432;

  /// Sets the expected number of points, for which disk space is reserved in steps of 256 MiB. Has
  /// no effect if the file system refuses; close() frees what was not used.
  void expectPoints(std::uint64_t count);

  /// Appends one record. Coordinates become the nearest number of scale-factor steps, the
  /// header's offsets are not applied. The record has return 1 of 1 and 0 in classification, scan
  /// angle and user data. False when the point is not written: a coordinate is not finite or does
  /// not fit into 32 bits of steps, the file holds 4294967295 records, a write has failed, or the
  /// writer is closed.
  bool writePoint(const LasPoint& point) {
    if (used_ == limit_ && !makeRoom()) return false;
    const double x = point.x / scale_[0];
    const double y = point.y / scale_[1];
    const double z = point.z / scale_[2];
    if (!(fitsSteps(x) && fitsSteps(y) && fitsSteps(z))) {
      ++refused_;
      return false;
    }
    LasPointRecord& record = records_[used_++];
    fill(record, point, nearestStep(x), nearestStep(y), nearestStep(z));
    bufferBounds_.widen(record);
    return true;
  }

  /// Does what writePoint() does for each of the points pointAt(0) to pointAt(count - 1), in less
  /// time. `pointAt` returns a LasPoint; it is called several times for each point and must be
  /// pure.
  template <class PointAt>
  void writePoints(std::size_t count, const PointAt& pointAt) {
    for (std::size_t i = 0; i < count;) {
      if (count - i >= kBlock && limit_ - used_ >= kBlock &&
          appendBlock([&pointAt, i](std::size_t k) { return pointAt(i + k); })) {
        i += kBlock;
        continue;
      }
      for (const std::size_t end = std::min(i + kBlock, count); i < end; ++i)
        writePoint(pointAt(i));
    }
  }

  /// Writes out what is buffered, completes the header and closes the file; prints a warning with
  /// the number of points refused for their coordinates or for the count. The last header on disk
  /// describes exactly the whole records on disk, also after a failed write. False when a write has
  /// failed or the writer is not open.
  bool close() { return close(true); }

  /// The same; prints the warning only if `printsRefused` is set.
  bool close(bool printsRefused);

  /// Sets the name of the file in messages, in place of the path that is given to open().
  void setShownName(const std::string& name) { shownName_ = name; }

  /// Whether the coordinates x, y, z fit into 32 bits of steps.
  bool fits(const std::array<double, 3>& place) const {
    return fitsSteps(place[0] / scale_[0]) && fitsSteps(place[1] / scale_[1]) &&
           fitsSteps(place[2] / scale_[2]);
  }

  /// Points that writePoint() has refused for their coordinates or for the count.
  std::uint64_t refused() const { return refused_; }

  /// Whether a write has failed since the file was opened.
  bool failed() const { return failed_ || headerStale_; }

  /// The header on disk, with the count and bounds of the records there.
  const LasHeader& header() const { return header_; }

 private:
  /// Whether the nearest integer to `steps` fits into 32 bits; false for NaN.
  static bool fitsSteps(double steps) { return steps >= -2147483648.5 && steps < 2147483647.5; }

  /// The nearest integer to `steps`, which must fit; ties go to the even one. Adding 1.5 · 2^52
  /// leaves it in the low bits of the sum. Unlike lrint(), compilers can vectorise this.
  static std::int32_t nearestStep(double steps) {
    return static_cast<std::int32_t>(std::bit_cast<std::int64_t>(steps + 0x1.8p52));
  }

  /// Fills the record in place: assembling it elsewhere and copying it takes twice the time.
  static void fill(LasPointRecord& record, const LasPoint& point, std::int32_t x, std::int32_t y,
                   std::int32_t z) {
    record.x = x;
    record.y = y;
    record.z = z;
    record.intensity = point.intensity;
    record.returnByte = kReturn1Of1;
    record.classification = 0;
    record.scanAngleRank = 0;
    record.userData = 0;
    record.pointSourceID = point.pointSourceID;
    record.gpsTime = point.gpsTime;
    record.red = point.red;
    record.green = point.green;
    record.blue = point.blue;
  }

  /// Points that writePoints() encodes together. The compiler vectorises loops of this length over
  /// contiguous numbers.
  static constexpr std::size_t kBlock = 256;
  using Values = std::array<double, kBlock>;

  /// Appends a block; the buffer must have space for it. False, with nothing changed, when a point
  /// does not fit.
  template <class PointAt>
  bool appendBlock(const PointAt& pointAt) {
    alignas(16) std::array<Values, 3> steps;
    for (std::size_t k = 0; k < kBlock; ++k) steps[0][k] = pointAt(k).x;
    for (std::size_t k = 0; k < kBlock; ++k) steps[1][k] = pointAt(k).y;
    for (std::size_t k = 0; k < kBlock; ++k) steps[2][k] = pointAt(k).z;
    if (!toSteps(steps)) return false;
    LasPointRecord* const records = &records_[used_];
    for (std::size_t k = 0; k < kBlock; ++k)
      fill(records[k], pointAt(k), nearestStep(steps[0][k]), nearestStep(steps[1][k]),
           nearestStep(steps[2][k]));
    used_ += kBlock;
    return true;
  }
  template <class OpenFile>
  bool openWith(const LasHeader& header, const std::string& path, unsigned bufferSize,
                const WriteBytesBeforePoints& writeBytes, OpenFile openFile);
  bool openFile(const std::string& path);
  void writeLastHeader();
  bool refuseSecondOpen(const std::string& path);
  void begin(const LasHeader& header, const std::string& path);
  bool startCompression(unsigned threads, std::span<const std::string> records);
  std::int64_t endOf(std::uint64_t count) const;
  bool toSteps(std::array<Values, 3>& coordinates);
  bool makeRoom();
  void reserve();
  bool writeOut();
  bool compressOut();
  bool writeHeader();

  ferrun::File file_;
  std::string path_;
  std::string shownName_;  ///< empty for the path
  LasHeader header_{};
  LasHeader headerOnDisk_{};  ///< the last one that was written
  int descriptor_ = -1;       ///< of useDescriptor()
  std::array<double, 3> scale_ = {1, 1, 1};
  std::unique_ptr<LasPointRecord[]> records_;  ///< the write buffer
  std::size_t capacity_ = 0;                   ///< records that the buffer holds
  std::size_t used_ = 0;                       ///< records in the buffer
  std::size_t limit_ = 0;        ///< used_ may grow to this; 0 when nothing can be appended
  StepBounds bufferBounds_;      ///< of the records in the buffer
  std::size_t headerEvery_ = 0;  ///< records between two updates of the header on disk
  std::size_t headerDue_ = 0;    ///< records until it is due
  std::uint32_t written_ = 0;    ///< whole records on disk
  StepBounds writtenBounds_;     ///< of the records on disk
  std::uint64_t expected_ = 0;   ///< records to reserve disk space for
  std::uint64_t reserved_ = 0;   ///< records that disk space was reserved for
  std::uint64_t refused_ = 0;
  std::int64_t dataStart_ = sizeof(LasHeader);     ///< offset of the first point record
  std::uint64_t lost_ = 0;                         ///< points of a failed write and points after it
  bool failed_ = false;                            ///< a write of records has failed
  std::unique_ptr<CompressedRecords> compressed_;  ///< null when records are not compressed; then
                                                   ///< written_ counts those handed to it
  bool headerStale_ = false;  ///< the last write of the header has failed; it is tried again
};

}  // namespace pontra

// Writes LAS 1.2 files of point data record format 3.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/large_memory.h"

namespace pontra {

/// What a writer is given for one point.
struct LasPoint {
  double x;  ///< relative to the header's offset, in the file's unit; stored as x / xScaleFactor
  double y;
  double z;
  std::uint16_t red;
  std::uint16_t green;
  std::uint16_t blue;
  std::uint16_t intensity;
  double gpsTime;  ///< seconds
};

/// Creates a LAS file and appends points to it. The header on disk is brought up to the records on
/// disk each time the write buffer has been written out, so that a file whose writer was killed is
/// whole up to the count that it announces. For use by one thread at a time.
class LasWriter {
 public:
  LasWriter() = default;
  LasWriter(const LasWriter&) = delete;
  LasWriter& operator=(const LasWriter&) = delete;

  /// Closes an open writer.
  virtual ~LasWriter() { close(); }

  /// Creates the file at `path`, or empties it, and writes `header` with count and bounds zero;
  /// scale factors must not be 0. `bufferSize` is the size of the write buffer in bytes. False,
  /// with the writer closed and an error line, when the file cannot be created or written or there
  /// is no memory for the buffer.
  bool open(const LasHeader& header, const std::string& path, unsigned bufferSize);

  /// Appends one record. Coordinates become the nearest number of scale-factor steps, each offset
  /// left aside; the record says return 1 of 1, and 0 for classification, scan angle, user data and
  /// point source. False when the point is not written: a coordinate is not finite or does not fit
  /// into 32 bits of steps, the file holds 4294967295 records, a write has failed, or the writer is
  /// closed.
  bool writePoint(const LasPoint& point) {
    if (used_ == limit_ && !makeRoom()) return false;
    const double x = point.x / scale_[0];
    const double y = point.y / scale_[1];
    const double z = point.z / scale_[2];
    if (!(fitsSteps(x) && fitsSteps(y) && fitsSteps(z))) {
      ++refused_;
      return false;
    }
    // Filled in its place: a record put together elsewhere and copied would cost twice the time.
    LasPointRecord& record = records_[used_++];
    record.x = static_cast<std::int32_t>(std::lrint(x));
    record.y = static_cast<std::int32_t>(std::lrint(y));
    record.z = static_cast<std::int32_t>(std::lrint(z));
    record.intensity = point.intensity;
    record.returnByte = kReturn1Of1;
    record.classification = 0;
    record.scanAngleRank = 0;
    record.userData = 0;
    record.pointSourceID = 0;
    record.gpsTime = point.gpsTime;
    record.red = point.red;
    record.green = point.green;
    record.blue = point.blue;
    bufferBounds_.widen(record);
    return true;
  }

  /// Writes out what is buffered, completes the header and closes the file; prints a warning with
  /// the number of points refused for their coordinates or for the count. The last header on disk
  /// describes exactly the whole records on disk, also after a failed write. False when a write has
  /// failed or the writer is not open.
  bool close();

  /// Points that writePoint() has taken, whether or not they are on disk yet.
  std::uint64_t accepted() const { return std::uint64_t{written_} + used_; }

  /// Points that writePoint() has refused for their coordinates or for the count.
  std::uint64_t refused() const { return refused_; }

  /// Whether a write has failed since the file was opened.
  bool failed() const { return failed_; }

  /// The header as it stands on disk: count and bounds of the records there.
  const LasHeader& header() const { return header_; }

 private:
  /// The lowest and highest X, Y and Z of some records, in steps.
  struct StepBounds {
    std::array<std::int32_t, 3> low = {kHighest, kHighest, kHighest};
    std::array<std::int32_t, 3> high = {kLowest, kLowest, kLowest};

    void widen(const LasPointRecord& record) {
      widen(0, record.x, record.x);
      widen(1, record.y, record.y);
      widen(2, record.z, record.z);
    }
    void widen(const StepBounds& other) {
      for (std::size_t axis = 0; axis < 3; ++axis) widen(axis, other.low[axis], other.high[axis]);
    }

   private:
    void widen(std::size_t axis, std::int32_t lowest, std::int32_t highest) {
      low[axis] = std::min(low[axis], lowest);
      high[axis] = std::max(high[axis], highest);
    }
    static constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
    static constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
  };

  static constexpr std::uint8_t kReturn1Of1 = 0x09;

  /// Whether the nearest integer to `steps` fits into 32 bits; false for NaN.
  static bool fitsSteps(double steps) { return steps >= -2147483648.5 && steps < 2147483647.5; }

  bool makeRoom();
  bool writeOut();
  bool writeHeader();

  ferrun::File file_;
  std::string path_;
  LasHeader header_{};
  std::array<double, 3> scale_ = {1, 1, 1};
  ferrun::LargeMemory buffer_;         ///< the write buffer
  LasPointRecord* records_ = nullptr;  ///< the same as records
  std::size_t capacity_ = 0;           ///< records that the buffer holds
  std::size_t used_ = 0;               ///< records in the buffer
  std::size_t limit_ = 0;              ///< used_ may grow to this; 0 when nothing can be appended
  StepBounds bufferBounds_;            ///< of the records in the buffer
  std::uint32_t written_ = 0;          ///< whole records on disk
  StepBounds writtenBounds_;           ///< of the records on disk
  std::uint64_t refused_ = 0;
  bool failed_ = false;  ///< a write has failed
};

}  // namespace pontra

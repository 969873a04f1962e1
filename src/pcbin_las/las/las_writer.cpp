#include "pcbin_las/las/las_writer.h"

#include <tuple>

#include "pcbin_las/platform/trace_macros.h"

namespace pontra {
namespace {

constexpr const char* kClassName = "LasWriter";

constexpr std::uint32_t kMostRecords = std::numeric_limits<std::uint32_t>::max();
constexpr unsigned kLargestBuffer = 1U << 30;  // bytes; one write call takes an int

}  // namespace

bool LasWriter::open(const LasHeader& header, const std::string& path, unsigned bufferSize) {
  if (file_.isOpen()) return false;
  capacity_ =
      std::max<std::size_t>(std::min(bufferSize, kLargestBuffer) / sizeof(LasPointRecord), 1);
  buffer_ = ferrun::allocateLarge(capacity_ * sizeof(LasPointRecord));
  records_ = reinterpret_cast<LasPointRecord*>(buffer_.get());
  file_.setWMBuffer(0);  // the records are the buffer
  if (!buffer_) {
    TRACE_MEMBER_ERROR(kClassName, "open", "file(%s): no memory for a buffer of %u bytes!",
                       path.c_str(), bufferSize);
    return false;
  }
  if (!file_.open(path, ferrun::File::kWrite)) return false;

  path_ = path;
  header_ = header;
  scale_ = {header.xScaleFactor, header.yScaleFactor, header.zScaleFactor};
  used_ = written_ = 0;
  bufferBounds_ = writtenBounds_ = {};
  refused_ = 0;
  failed_ = false;
  if (!writeHeader()) {
    file_.close();
    return false;
  }
  limit_ = capacity_;
  return true;
}

/// The slow path of writePoint(): the buffer is full, or nothing can be appended.
bool LasWriter::makeRoom() {
  if (!file_.isOpen() || failed_) return false;
  if (used_ > 0 && !writeOut()) return false;
  limit_ = std::min<std::size_t>(capacity_, kMostRecords - written_);
  if (limit_ > 0) return true;
  ++refused_;
  return false;
}

/// Writes the buffered records and a header that describes what is on disk then. After a failed
/// write that is the whole records that reached the disk, and nothing is appended any more.
bool LasWriter::writeOut() {
  const auto size = static_cast<int>(used_ * sizeof(LasPointRecord));
  const int done = file_.writeData(buffer_.get(), size);
  if (done == size) {
    writtenBounds_.widen(bufferBounds_);
    written_ += static_cast<std::uint32_t>(used_);
  } else {
    const auto whole = static_cast<std::size_t>(std::max(done, 0)) / sizeof(LasPointRecord);
    for (std::size_t i = 0; i < whole; ++i) writtenBounds_.widen(records_[i]);
    written_ += static_cast<std::uint32_t>(whole);
    failed_ = true;
    limit_ = 0;
  }
  used_ = 0;
  bufferBounds_ = {};
  if (!writeHeader()) {
    failed_ = true;
    limit_ = 0;
  }
  return !failed_;
}

/// Brings the header on disk up to the records on disk and returns to the end of these.
bool LasWriter::writeHeader() {
  const std::array<double, 3> offset = {header_.xOffset, header_.yOffset, header_.zOffset};
  std::array<double, 3> low{};
  std::array<double, 3> high{};
  for (std::size_t axis = 0; written_ > 0 && axis < 3; ++axis) {
    // The scale factor may be negative and turn the bounds round.
    std::tie(low[axis], high[axis]) =
        std::minmax({writtenBounds_.low[axis] * scale_[axis] + offset[axis],
                     writtenBounds_.high[axis] * scale_[axis] + offset[axis]});
  }
  header_.numberOfPointRecords = written_;
  header_.numberOfPointsByReturn[0] = written_;
  header_.minX = low[0];
  header_.minY = low[1];
  header_.minZ = low[2];
  header_.maxX = high[0];
  header_.maxY = high[1];
  header_.maxZ = high[2];

  const std::int64_t end = std::int64_t{sizeof(LasHeader)} +
                           std::int64_t{written_} * std::int64_t{sizeof(LasPointRecord)};
  if (failed_) file_.truncate(end);  // drops the part of a record that reached the disk
  file_.seek(0);
  const int done = file_.writeData(reinterpret_cast<const char*>(&header_), sizeof(LasHeader));
  if (done != sizeof(LasHeader)) return false;
  file_.seek(end);
  return true;
}

bool LasWriter::close() {
  if (!file_.isOpen()) return false;
  if (used_ > 0) writeOut();
  file_.close();
  buffer_.reset();
  limit_ = 0;
  if (refused_ > 0)
    TRACE_MEMBER_WARNING(
        kClassName, "close",
        "file(%s): %llu points not written, not finite or too far from the offset for "
        "the scale factor or beyond 4294967295 records!",
        path_.c_str(), static_cast<unsigned long long>(refused_));
  return !failed_;
}

}  // namespace pontra

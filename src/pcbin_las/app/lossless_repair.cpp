// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/lossless_repair.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "pcbin_las/app/las_repair.h"
#include "pcbin_las/las/las_layout.h"
#include "pcbin_las/las/point_summary.h"
#include "pcbin_las/output/staged_file.h"
#include "pcbin_las/output/stop_signals.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

constexpr int kComplete = 0;
constexpr int kIncomplete = 1;
constexpr int kFailed = 2;

constexpr std::int64_t kPieceSize = 1 << 20;

int fail(const std::string& path, const std::string& reason) {
  TRACE_ERROR("las_repair", "file(%s) was not repaired: %s!", path.c_str(), reason.c_str());
  return kFailed;
}

/// Copies bytes from one file to another, in pieces.
class Copy {
 public:
  Copy(ferrun::File& from, ferrun::File& to) : from_(from), to_(to), piece_(kPieceSize) {}

  /// Copies the bytes from `begin` to `end` to the same place, with whole records of `recordLength`
  /// bytes in each piece, which `look` is called with. False when a read or a write fails.
  template <class Look>
  bool run(std::int64_t begin, std::int64_t end, std::int64_t recordLength, Look look) {
    from_.seek(begin);
    if (from_.pos() != begin) return setReason("it cannot be read");
    while (begin < end) {
      const std::int64_t size = std::min(end - begin, kPieceSize / recordLength * recordLength);
      const auto count = static_cast<int>(size);
      if (from_.readData(piece_.data(), count) != count) return setReason("it cannot be read");
      look(piece_.data(), size / recordLength);
      if (to_.writeData(piece_.data(), count) != count)
        return setReason("the new file cannot be written");
      begin += size;
    }
    return true;
  }

  bool run(std::int64_t begin, std::int64_t end) {
    return run(begin, end, 1, [](const char*, std::int64_t) {});
  }

  const char* reason() const { return reason_; }

 private:
  bool setReason(const char* reason) {
    reason_ = reason;
    return false;
  }

  ferrun::File& from_;
  ferrun::File& to_;
  std::vector<char> piece_;
  const char* reason_ = "";
};

/// Says what the new file lacks; whether that is nothing.
bool reportLeftOut(const pontra::LasLayout& layout, const pontra::PointSummary& points) {
  const auto zeros = static_cast<unsigned long long>(points.zeroRecords());
  if (layout.hasExtended()) {
    if (zeros > 0)
      TRACE_WARNING("las_repair", "%llu records of zero bytes after the points are not counted!",
                    zeros);
    return true;
  }
  const std::int64_t partial = (layout.pointsEnd - layout.pointsBegin) %
                               std::int64_t{layout.header.start.pointDataRecordLength};
  if (zeros > 0)
    TRACE_WARNING("las_repair", "%llu records of zero bytes at the end are left out!", zeros);
  if (partial > 0)
    TRACE_WARNING("las_repair", "a partial record of %d bytes at the end is left out!",
                  static_cast<int>(partial));
  return zeros == 0 && partial == 0;
}

/// Replaces the header of the copy, and ends it after the last point if nothing follows there.
bool complete(const pontra::LasLayout& layout, const pontra::PointSummary& points,
              ferrun::File& copy) {
  copy.seek(0);
  const bool written = copy.writeData(reinterpret_cast<const char*>(&layout.header),
                                      layout.headerEnd) == layout.headerEnd;
  const std::int64_t end =
      layout.pointsBegin + static_cast<std::int64_t>(points.count()) *
                               std::int64_t{layout.header.start.pointDataRecordLength};
  return written && (layout.hasExtended() || copy.truncate(end));
}

/// Copies the whole file, and adds its points to `points`. False, with an error line, on failure.
bool copyAll(const std::string& path, ferrun::File& file, ferrun::File& copy,
             const pontra::LasLayout& layout, pontra::PointSummary& points) {
  const std::int64_t length = layout.header.start.pointDataRecordLength;
  const std::int64_t recordsEnd =
      layout.pointsBegin + (layout.pointsEnd - layout.pointsBegin) / length * length;
  const auto addPoints = [&points](const char* records, std::int64_t count) {
    points.add(records, static_cast<std::size_t>(count));
  };
  copy.reserve(layout.fileSize);  // takes less time than to allocate the pieces one by one
  Copy bytes(file, copy);
  if (bytes.run(0, layout.pointsBegin) &&
      bytes.run(layout.pointsBegin, recordsEnd, length, addPoints) &&
      (!layout.hasExtended() || bytes.run(recordsEnd, layout.fileSize)))
    return true;
  fail(path, bytes.reason());
  return false;
}

int repair(const std::string& path) {
  const std::string newPath = repairedPath(path);
  ferrun::File file;
  if (!file.open(path, ferrun::File::kRead)) return fail(path, std::strerror(errno));
  pontra::LasLayout layout;
  if (const std::string reason = pontra::readLayout(file, layout); !reason.empty())
    return fail(path, reason);
  if (ferrun::File::exists(newPath)) return fail(path, newPath + " exists, try again");

  ferrun::handleStopSignals();
  ferrun::StagedFile staged;
  ferrun::File copy;
  copy.setWMBuffer(0);  // the pieces are the buffer
  pontra::PointSummary points(layout);
  if (!staged.create(newPath) || !copy.openDescriptor(staged.temporaryName(), staged.descriptor()))
    return fail(path, "the new file cannot be created");
  if (!copyAll(path, file, copy, layout, points)) return kFailed;
  if (!layout.hasLongCount() && points.count() > std::numeric_limits<std::uint32_t>::max())
    return fail(path, "it holds more than 4294967295 points, its version cannot count them");
  const std::string changes = pontra::correctHeader(layout, points);
  const bool completed = complete(layout, points, copy);
  copy.close();
  if (!completed || copy.writeError() != 0 || !staged.publishNew())
    return fail(path, "the new file cannot be written");

  const bool keptAll = reportLeftOut(layout, points);
  for (const std::string& warning : layout.warnings)
    TRACE_WARNING("las_repair", "%s!", warning.c_str());
  TRACE_INFO("las_repair", "repair ok => %s with %llu points: %s.", newPath.c_str(),
             static_cast<unsigned long long>(points.count()),
             changes.empty() ? "nothing was wrong" : changes.c_str());
  return keptAll ? kComplete : kIncomplete;
}

}  // namespace

int lossless_repair(const std::string& path) {
  try {
    return repair(path);
  } catch (const std::bad_alloc&) {
    return fail(path, "no memory is left");
  }
}

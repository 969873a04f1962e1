// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/pose_file.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "pcbin_las/export/pose_diagnosis.h"
#include "pcbin_las/export/pose_line.h"
#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/available_memory.h"

namespace {

using Fields = std::vector<std::string>;

constexpr std::size_t kLongestField = 64;  ///< characters of a field that a message shows
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::uint64_t kMostWarnings = 10;
constexpr std::size_t kMostRecords =
    4194304;  ///< without a warning: 116 hours at ten sweeps a second

/// Reads one pose file.
class Loader {
 public:
  Loader(const std::string& pgoPath, norvo::PGOResultMsg& msg, bool strict, PoseFileReport& report)
      : pgoPath_(pgoPath), msg_(msg), strict_(strict), report_(report) {}

  bool load();

 private:
  bool readLines(ferrun::File& file);
  bool readLine(const std::string& text);
  bool isIgnored(const std::string& text, const Fields& pieces);
  void skip(const std::string& text, const std::string& reason);
  void printHeldWarnings();
  std::string damage(const PoseLine& line) const;
  void keep(const PoseLine& line);
  bool makeRoom(std::size_t sweep);
  bool hasMemoryFor(std::size_t sweep);

  const std::string& pgoPath_;
  norvo::PGOResultMsg& msg_;
  bool strict_;
  PoseFileReport& report_;
  unsigned lineNumber_ = 0;
  std::vector<std::string> heldWarnings_;  ///< of skipped lines, until a line gives a pose
  bool warnedOfMemory_ = false;
  std::string firstLine_;
  std::string title_;
  std::string firstSkipped_;
  std::string firstReason_;  ///< why it was skipped
};

bool Loader::load() {
  ferrun::File file;
  if (!file.open(pgoPath_, ferrun::File::kRead)) {
    TRACE_ERROR("pcbin_las", "cannot open pgo file: %s!", pgoPath_.c_str());
    return false;
  }
  const bool read = makeRoom(0) && readLines(file);
  if (read && strict_ && report_.poses == 0) {
    report_.whyNoPose =
        whyNoPose(firstLine_, firstSkipped_.empty() ? title_ : firstSkipped_,
                  firstReason_.empty()
                      ? ferrun::StrUtil::format("it has no line with %zu numbers", kPoseFields)
                      : "every line is damaged, " + firstReason_);
    TRACE_WARNING("pcbin_las", "pgo file(%s) gives no pose: %s!", pgoPath_.c_str(),
                  report_.whyNoPose.c_str());
  }
  printHeldWarnings();
  if (read && report_.skipped > kMostWarnings)
    TRACE_WARNING("pcbin_las", "pgo file(%s): %llu lines skipped in all!", pgoPath_.c_str(),
                  static_cast<unsigned long long>(report_.skipped));
  return read;
}

/// False, with an error line, when the file cannot be read to its end, or there is no memory.
bool Loader::readLines(ferrun::File& file) {
  std::string text;
  while (file.readLine(&text) > 0) {
    ++lineNumber_;
    if (lineNumber_ == 1 && text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
    if (lineNumber_ == 1) firstLine_ = text.substr(0, kLongestField);
    if (!readLine(text)) return false;
  }
  if (file.readError() == 0) return true;
  TRACE_ERROR("pcbin_las", "pgo file(%s) cannot be read to its end: %s!", pgoPath_.c_str(),
              std::strerror(file.readError()));
  return false;
}

/// False, with an error line, when there is no memory for the pose.
bool Loader::readLine(const std::string& text) {
  const Fields pieces = ferrun::StrUtil::splitString(text, ",", false);
  if (isIgnored(text, pieces)) return true;
  if (pieces.size() != kPoseFields) {
    skip(text, ferrun::StrUtil::format("it has %zu fields, not %zu", pieces.size(), kPoseFields));
    return true;
  }
  PoseLine line;
  if (const auto column = readPoseLine(pieces, strict_, line)) {
    const std::string field = ferrun::escapeControls(pieces[*column].substr(0, kLongestField));
    const char* const expected = strict_ && *column == 1
                                     ? "must be a whole number from 0 to 16777215"
                                     : "is not a valid number";
    skip(text, ferrun::StrUtil::format("column %zu %s(%s)", *column, expected, field.c_str()));
    return true;
  }
  if (const std::string reason = damage(line); strict_ && !reason.empty()) {
    skip(text, reason);
    return true;
  }
  const std::size_t sweep = line.pgo.id;
  if (!makeRoom(sweep)) return false;
  keep(line);
  msg_.lioPoses[sweep] = line.lio;
  msg_.pgoPoses[sweep] = line.pgo;
  msg_.offset = line.offset;
  return true;
}

/// Why a line cannot be a pose; empty if it can.
std::string Loader::damage(const PoseLine& line) const {
  for (const auto& [set, pose] :
       {std::pair("registration", &line.lio), std::pair("optimised", &line.pgo)}) {
    const double norm = pose->rotation.cast<double>().norm();
    if (isDamaged(norm))
      return ferrun::StrUtil::format("the norm of the %s quaternion is %.4g, not 1", set, norm);
  }
  return {};
}

/// Updates the report by a line that gives a pose.
void Loader::keep(const PoseLine& line) {
  printHeldWarnings();
  ++report_.poses;
  report_.lowestId = std::min(report_.lowestId, line.pgo.id);
  report_.highestId = std::max(report_.highestId, line.pgo.id);
  for (const norvo::PGOPoseStamped* const pose : {&line.lio, &line.pgo}) {
    const double norm = pose->rotation.cast<double>().norm();
    if (!isNotUnit(norm)) continue;
    if (report_.notUnit++ == 0) {
      report_.firstNotUnit = lineNumber_;
      report_.normOfFirst = norm;
    }
    break;
  }
  if (report_.poses == 1 || line.offset == msg_.offset) return;
  if (report_.newOffsets++ > 0) return;
  report_.firstNewOffset = lineNumber_;
  report_.firstOffsetChange = ferrun::StrUtil::format(
      "%.15g %.15g %.15g, then %.15g %.15g %.15g", msg_.offset.x(), msg_.offset.y(),
      msg_.offset.z(), line.offset.x(), line.offset.y(), line.offset.z());
}

/// Whether a line is ignored without a message.
bool Loader::isIgnored(const std::string& text, const Fields& pieces) {
  if (pieces[0].starts_with('#')) return true;
  if (!strict_) return pieces.size() != kPoseFields;
  if (text.find_first_not_of(" \t\r") == std::string::npos) return true;
  if (report_.poses > 0 || report_.skipped > 0 || !title_.empty() ||
      text.find('\0') != std::string::npos || ferrun::toDouble(pieces[0]))
    return false;
  title_ = text;
  return true;
}

/// Prints a warning, if strict after the first line that gives a pose.
void Loader::skip(const std::string& text, const std::string& reason) {
  if (report_.skipped == 0) {
    firstSkipped_ = text;
    firstReason_ = ferrun::StrUtil::format("line %u: %s", lineNumber_, reason.c_str());
  }
  ++report_.skipped;
  if (report_.skipped > kMostWarnings) return;
  heldWarnings_.push_back(
      ferrun::StrUtil::format("line %u skipped, %s", lineNumber_, reason.c_str()));
  if (!strict_ || report_.poses > 0) printHeldWarnings();
}

void Loader::printHeldWarnings() {
  for (const std::string& warning : heldWarnings_)
    TRACE_WARNING("pcbin_las", "pgo file(%s) %s!", pgoPath_.c_str(), warning.c_str());
  heldWarnings_.clear();
}

/// Extends the lists to the pose of `sweep`; new records have no pose. False, with an error line,
/// when there is no memory for them.
bool Loader::makeRoom(std::size_t sweep) {
  if (sweep < msg_.pgoPoses.size()) return true;
  try {
    if (hasMemoryFor(sweep)) {
      msg_.lioPoses.resize(sweep + 1);
      msg_.pgoPoses.resize(sweep + 1);
      return true;
    }
  } catch (const std::bad_alloc&) {
  }
  TRACE_ERROR("pcbin_las", "pgo file(%s): no memory for poses up to sweep %zu!", pgoPath_.c_str(),
              sweep);
  return false;
}

/// Whether long lists can grow to the pose of `sweep`. An allocation does not show that: the system
/// overcommits memory and kills the process when it is used. Prints one warning.
bool Loader::hasMemoryFor(std::size_t sweep) {
  const std::size_t size = msg_.pgoPoses.size();
  if (sweep < kMostRecords || sweep < msg_.pgoPoses.capacity()) return true;
  const std::size_t newSize = std::max(sweep + 1, 2 * size);
  // Two lists, and the old ones while they are copied.
  const std::uint64_t needed = 2 * (size + newSize) * sizeof(norvo::PGOPoseStamped);
  if (!warnedOfMemory_)
    TRACE_WARNING("pcbin_las", "pgo file(%s) line %u: sweep id %zu needs %llu MiB of memory!",
                  pgoPath_.c_str(), lineNumber_, sweep,
                  static_cast<unsigned long long>(needed >> 20));
  warnedOfMemory_ = true;
  return needed <= ferrun::availableMemory();
}

bool load(const std::string& pgoPath, norvo::PGOResultMsg& msg, bool strict,
          PoseFileReport& report) {
  if (g_useOffset) msg.offset = {g_offset[0], g_offset[1], g_offset[2]};
  return pgoPath.empty() || Loader(pgoPath, msg, strict, report).load();
}

}  // namespace

bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg) {
  PoseFileReport report;
  return load(pgoPath, msg, false, report);
}

bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg, PoseFileReport& report) {
  return load(pgoPath, msg, true, report);
}

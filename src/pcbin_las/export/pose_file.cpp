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
  Loader(const std::string& pgoPath, norvo::PGOResultMsg& msg, bool strict)
      : pgoPath_(pgoPath), msg_(msg), strict_(strict) {}

  bool load();
  std::uint64_t skipped() const { return skipped_; }

 private:
  bool readLine(const std::string& text);
  bool isIgnored(const std::string& text, const Fields& pieces);
  void skip(const std::string& text, const std::string& reason);
  bool makeRoom(std::size_t sweep);
  bool hasMemoryFor(std::size_t sweep);

  const std::string& pgoPath_;
  norvo::PGOResultMsg& msg_;
  bool strict_;
  unsigned lineNumber_ = 0;
  std::uint64_t taken_ = 0;
  std::uint64_t skipped_ = 0;
  bool warnedOfMemory_ = false;
  std::string title_;
  std::string firstSkipped_;
};

bool Loader::load() {
  ferrun::File file;
  if (!file.open(pgoPath_, ferrun::File::kRead)) {
    TRACE_ERROR("pcbin_las", "cannot open pgo file: %s!", pgoPath_.c_str());
    return false;
  }
  if (!makeRoom(0)) return false;
  std::string text;
  while (file.readLine(&text) > 0) {
    ++lineNumber_;
    if (lineNumber_ == 1 && text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
    if (!readLine(text)) return false;
  }
  if (file.readError() != 0) {
    TRACE_ERROR("pcbin_las", "pgo file(%s) cannot be read to its end: %s!", pgoPath_.c_str(),
                std::strerror(file.readError()));
    return false;
  }
  if (skipped_ > kMostWarnings)
    TRACE_WARNING("pcbin_las", "pgo file(%s): %llu lines skipped in all!", pgoPath_.c_str(),
                  static_cast<unsigned long long>(skipped_));
  if (strict_ && taken_ == 0)
    TRACE_WARNING("pcbin_las", "pgo file(%s) gives no pose: %s!", pgoPath_.c_str(),
                  whyNoPose(firstSkipped_.empty() ? title_ : firstSkipped_).c_str());
  return true;
}

/// False, with an error line, when there is no memory for the pose.
bool Loader::readLine(const std::string& text) {
  const Fields pieces = ferrun::StrUtil::splitString(text, ",", false);
  if (isIgnored(text, pieces)) return true;
  if (pieces.size() != kPoseFields) {
    skip(text, ferrun::StrUtil::format("it has %zu fields, not 28", pieces.size()));
    return true;
  }
  PoseLine line;
  if (const auto column = readPoseLine(pieces, strict_, line)) {
    const std::string field = ferrun::escapeControls(pieces[*column].substr(0, kLongestField));
    skip(text,
         ferrun::StrUtil::format("column %zu is not a valid number(%s)", *column, field.c_str()));
    return true;
  }
  const std::size_t sweep = line.pgo.id;
  if (!makeRoom(sweep)) return false;
  msg_.lioPoses[sweep] = line.lio;
  msg_.pgoPoses[sweep] = line.pgo;
  msg_.offset = line.offset;
  ++taken_;
  return true;
}

/// Whether a line is ignored without a message.
bool Loader::isIgnored(const std::string& text, const Fields& pieces) {
  if (pieces[0].starts_with('#')) return true;
  if (!strict_) return pieces.size() != kPoseFields;
  if (text.find_first_not_of(" \t\r") == std::string::npos) return true;
  if (taken_ > 0 || skipped_ > 0 || !title_.empty() || text.find('\0') != std::string::npos ||
      ferrun::toDouble(pieces[0]))
    return false;
  title_ = text;
  return true;
}

void Loader::skip(const std::string& text, const std::string& reason) {
  if (skipped_ == 0) firstSkipped_ = text;
  ++skipped_;
  if (skipped_ <= kMostWarnings)
    TRACE_WARNING("pcbin_las", "pgo file(%s) line %u skipped, %s!", pgoPath_.c_str(), lineNumber_,
                  reason.c_str());
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
          std::uint64_t& skipped) {
  if (g_useOffset) msg.offset = {g_offset[0], g_offset[1], g_offset[2]};
  if (pgoPath.empty()) return true;
  Loader loader(pgoPath, msg, strict);
  const bool loaded = loader.load();
  skipped = loader.skipped();
  return loaded;
}

}  // namespace

bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg) {
  std::uint64_t skipped = 0;
  return load(pgoPath, msg, false, skipped);
}

bool loadPgoFileStrictly(const std::string& pgoPath, norvo::PGOResultMsg& msg,
                         std::uint64_t& skipped) {
  return load(pgoPath, msg, true, skipped);
}

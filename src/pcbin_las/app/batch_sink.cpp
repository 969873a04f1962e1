// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/batch_sink.h"

#include <algorithm>
#include <string_view>

namespace {

/// The origin of a warning, which contains its place in the source; with the text for the notes on
/// the command line, which are printed by one place.
std::string_view kindOf(std::string_view line) {
  const std::string_view origin = line.substr(std::min(line.find('['), line.size()));
  return origin.starts_with("[main,") ? origin : origin.substr(0, origin.find(']'));
}

}  // namespace

void BatchSink::writeLines(int level, const char* lines, std::size_t size) {
  if (level >= threshold_) {  // first: keep() may throw
    progressBar_.erase();
    output_.write(lines, size);
  }
  std::string_view rest(lines, size);
  while (level >= ferrun::kLevelWarning && !rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    keep(line, level);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
}

/// Keeps an error line, or a warning of a new kind.
void BatchSink::keep(std::string_view line, int level) {
  const std::lock_guard lock(mutex_);
  if (level == ferrun::kLevelError) {
    if (firstError_.empty()) firstError_ = line;
  } else if (warningKinds_.emplace(kindOf(line)).second && warnings_.size() < kMostWarnings) {
    warnings_.emplace_back(line);
  }
}

std::uint64_t BatchSink::warningCount() const {
  const std::lock_guard lock(mutex_);
  return warningKinds_.size();
}

std::vector<std::string> BatchSink::warnings() const {
  const std::lock_guard lock(mutex_);
  return warnings_;
}

std::string BatchSink::firstError() const {
  const std::lock_guard lock(mutex_);
  return firstError_;
}

#include "pcbin_las/app/batch_sink.h"

#include <algorithm>
#include <string_view>

#include "pcbin_las/platform/trace_macros.h"

namespace {

/// The level of a line; `former` when it has no tag, which happens after a line break inside a
/// message.
int levelOf(std::string_view line, int former) {
  if (line.starts_with("<E>")) return ferrun::kLevelError;
  if (line.starts_with("<W>")) return ferrun::kLevelWarning;
  if (line.starts_with("<I>") || line.starts_with("<C>")) return ferrun::kLevelInfo;
  return former;
}

/// The origin of a warning, which contains its place in the source; with the text for the notes on
/// the command line, which are printed by one place.
std::string_view kindOf(std::string_view line) {
  const std::string_view origin = line.substr(std::min(line.find('['), line.size()));
  return origin.starts_with("[main,") ? origin : origin.substr(0, origin.find(']'));
}

}  // namespace

void BatchSink::write(const char* lines, std::size_t size) {
  std::string wanted;
  for (std::string_view rest(lines, size); !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    level_ = levelOf(line, level_);
    if (level_ >= threshold_) wanted.append(line) += '\n';
    if (level_ >= ferrun::kLevelWarning) keep(line);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  if (wanted.empty()) return;
  progressBar_.erase();
  output_.write(wanted.data(), wanted.size());
}

/// Keeps an error line, or a warning of a new kind.
void BatchSink::keep(std::string_view line) {
  const std::lock_guard lock(mutex_);
  if (level_ == ferrun::kLevelError) {
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

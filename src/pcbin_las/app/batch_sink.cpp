#include "pcbin_las/app/batch_sink.h"

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

}  // namespace

void BatchSink::write(const char* lines, std::size_t size) {
  std::string wanted;
  for (std::string_view rest(lines, size); !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    level_ = levelOf(line, level_);
    if (level_ >= threshold_) wanted.append(line) += '\n';
    if (level_ == ferrun::kLevelError) {
      const std::lock_guard lock(mutex_);
      if (firstError_.empty()) firstError_ = line;
    }
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  if (wanted.empty()) return;
  progressBar_.erase();
  output_.write(wanted.data(), wanted.size());
}

std::string BatchSink::firstError() const {
  const std::lock_guard lock(mutex_);
  return firstError_;
}

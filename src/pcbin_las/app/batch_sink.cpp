// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/batch_sink.h"

#include <string_view>

#include "pcbin_las/platform/trace_macros.h"

namespace {

/// The level of a line by its tag. Every line has one: line breaks inside messages are escaped.
int levelOf(std::string_view line) {
  if (line.starts_with("<E>")) return ferrun::kLevelError;
  if (line.starts_with("<W>")) return ferrun::kLevelWarning;
  return ferrun::kLevelInfo;
}

}  // namespace

void BatchSink::write(const char* lines, std::size_t size) {
  std::string wanted;
  for (std::string_view rest(lines, size); !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    const int level = levelOf(line);
    if (level >= threshold_) wanted.append(line) += '\n';
    if (level == ferrun::kLevelError) {
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

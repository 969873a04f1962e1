// SPDX-License-Identifier: BSD-3-Clause
// The console of a run with --batch.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pcbin_las/app/progress_bar.h"
#include "pcbin_las/platform/tracer.h"

/// Writes lines of a level and above to standard output. Keeps the first error line and counts the
/// warnings, even if it does not write them. Erases the progress bar before it writes.
class BatchSink : public ferrun::TracerSink {
 public:
  explicit BatchSink(int threshold) : threshold_(threshold) {}

  void writeLines(int level, const char* lines, std::size_t size) override;

  /// The first error line without its line break; empty when there was none. Does not include lines
  /// that the tracer has not delivered yet.
  std::string firstError() const;

  /// The number of warnings. Lines of one place in the source are of one kind and count once, such
  /// as those of skipped pose lines; only the notes on the command line count all.
  std::uint64_t warningCount() const;

  /// The first kMostWarnings warnings that count, without their line breaks.
  std::vector<std::string> warnings() const;
  static constexpr std::size_t kMostWarnings = 20;

  ProgressBar& progressBar() { return progressBar_; }

 private:
  void keep(std::string_view line, int level);

  int threshold_;
  ferrun::STDSink output_;
  ProgressBar progressBar_;
  mutable std::mutex mutex_;  ///< guards the members below
  std::string firstError_;
  std::vector<std::string> warnings_;
  std::set<std::string, std::less<>> warningKinds_;
};

// SPDX-License-Identifier: BSD-3-Clause
// The console of a run with --batch.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "pcbin_las/app/progress_bar.h"
#include "pcbin_las/platform/tracer.h"

/// Writes lines of a level and above to standard output, and keeps the first error line, even if it
/// does not write it. Erases the progress bar before it writes.
class BatchSink : public ferrun::TracerSink {
 public:
  explicit BatchSink(int threshold) : threshold_(threshold) {}

  void write(const char* lines, std::size_t size) override;

  /// The first error line without its line break; empty when there was none. Does not include lines
  /// that the tracer has not delivered yet.
  std::string firstError() const;

  ProgressBar& progressBar() { return progressBar_; }

 private:
  int threshold_;
  ferrun::STDSink output_;
  ProgressBar progressBar_;
  mutable std::mutex mutex_;  ///< guards firstError_
  std::string firstError_;
};

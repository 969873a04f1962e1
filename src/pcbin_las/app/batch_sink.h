// The console of a run with --batch.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "pcbin_las/app/progress_bar.h"
#include "pcbin_las/platform/tracer.h"

/// Writes lines of a level and above to standard output and remembers the first error line,
/// whether or not it is written. Erases a progress bar before it writes.
class BatchSink : public ferrun::TracerSink {
 public:
  explicit BatchSink(int threshold) : threshold_(threshold) {}

  void write(const char* lines, std::size_t size) override;

  /// The first error line without its line break; empty when there was none. Lines that the tracer
  /// has not handed over yet are not seen.
  std::string firstError() const;

  ProgressBar& progressBar() { return progressBar_; }

 private:
  int threshold_;
  int level_ = 1;  ///< of the last line that began with a tag
  ferrun::STDSink output_;
  ProgressBar progressBar_;
  mutable std::mutex mutex_;  ///< guards firstError_
  std::string firstError_;
};

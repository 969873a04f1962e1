// The files of a survey: the points and poses that a pipeline leaves behind, and the truth.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "make_survey/route.h"
#include "make_survey/scanner.h"
#include "pcbin_las/las/las_writer.h"
#include "pcbin_las/storage/pcb_writer.h"

/// Writes survey.pcbin, pgo.csv and truth.las sweep by sweep, one frame for each sweep. A few
/// sweeps are held in memory, however many there are.
class SurveyFiles {
 public:
  /// Creates the files in `directory`, which exists; false when one cannot be made.
  bool open(const std::filesystem::path& directory);

  /// Appends a sweep; sweeps are numbered from 0. False when it cannot be written.
  bool add(std::uint32_t sweep, const SweepPoses& poses, const std::vector<ScanPoint>& points);

  /// Completes the files; false when a write has failed.
  bool close();

 private:
  std::shared_ptr<ferrun::AsyncTaskQueue> queue_ =
      std::make_shared<ferrun::AsyncTaskQueue>("survey");
  modeling_app::PcbWriter pcbin_{queue_};
  pontra::LasWriter truth_;
  std::ofstream poses_;
  std::filesystem::path pcbinPath_;
  std::uint64_t pcbinSize_ = 0;  ///< bytes that the file must have in the end
};

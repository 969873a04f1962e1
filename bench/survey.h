// SPDX-License-Identifier: BSD-3-Clause
// A synthetic survey for measurements: the same points in every run.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "pcbin_las/storage/frames.h"

namespace bench {

constexpr unsigned kFramePoints = 20000;  ///< points of a typical frame

/// The registered points of one sweep.
std::shared_ptr<norvo::RgbCloud> sweepCloud(std::uint32_t sweep, unsigned points);

/// Writes a pcbin file of `sweeps` frames of `points` points. Ends the program on failure.
void writeSurvey(const std::string& path, unsigned sweeps, unsigned points);

/// Writes a pose file with one line per sweep; the optimised poses differ by a small rotation and
/// translation. Ends the program on failure.
void writePoses(const std::string& path, unsigned sweeps);

/// A temporary directory, removed with its files by the destructor.
class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();

  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace bench

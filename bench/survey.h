// A survey made up for measurements: a drive along a road, with exact counts and the same points at
// every run.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "pcbin_las/storage/frames.h"

namespace bench {

constexpr unsigned kFramePoints = 20000;  ///< of a usual frame

/// The coloured points of one sweep, in the map as registered.
std::shared_ptr<norvo::RgbCloud> sweepCloud(std::uint32_t sweep, unsigned points);

/// A pcbin file of `sweeps` frames of `points` points. Ends the program when it cannot be written.
void writePcbin(const std::string& path, unsigned sweeps, unsigned points);

/// A pose file with one line for each sweep; the optimised poses turn and shift the sweeps a
/// little. Ends the program when it cannot be written.
void writePoses(const std::string& path, unsigned sweeps);

/// A directory for files of this process under the system's directory for temporary files; it and
/// its files are removed when it goes out of scope.
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

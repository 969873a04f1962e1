// SPDX-License-Identifier: BSD-3-Clause
// The parameters and the result of a conversion.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "pcbin_las/export/plausibility.h"
#include "pcbin_las/export/write_las.h"
#include "pcbin_las/storage/pcl_binary.h"

/// The result of a conversion, or its state so far.
struct ConversionResult {
  std::uint64_t read = 0;     ///< points of the frames read
  std::uint64_t written = 0;  ///< points in the LAS file; set when it is closed
  std::uint64_t noPose = 0;   ///< points left out because the pose file has no pose of their sweep
  std::uint64_t refused = 0;  ///< points left out because the LAS file cannot hold them
  std::uint64_t poseLinesSkipped = 0;  ///< damaged lines of the pose file
  std::uint64_t framesFound = 0;
  std::uint64_t framesAnnounced = 0;  ///< by the pcbin header, like pointsAnnounced
  std::uint64_t pointsAnnounced = 0;
  modeling_app::ReadEnd readEnd = modeling_app::ReadEnd::kEndOfFile;  ///< the worst of all reads
  bool writeFailed = false;
  bool wrongClock = false;            ///< refused: the time stamps are not of the clock
  std::string whyNoPoints;            ///< the cause when nothing failed and nothing was written
  std::optional<Movement> movement;   ///< of a sample of the points; nothing without poses
  std::array<double, 3> offset = {};  ///< x, y, z as in the LAS header, like low and high
  std::array<double, 3> low = {};
  std::array<double, 3> high = {};
};

/// Whom a conversion serves.
enum class Style {
  kDialogue,  ///< a person: prints a line for each frame and the progress, ignores lines of the
              ///< pose file that are not data lines, and goes on after a failed write or read
  kScript,  ///< a script: reads pose lines strictly, and ends at a failed write, a failed read or a
            ///< lack of memory
};

/// The parameters of a conversion.
struct Conversion {
  std::string pcbinPath = "pgo.pcbin";
  std::string pgoPath;              ///< empty for none
  std::string lasPath = "map.las";  ///< created or overwritten
  int lasDescriptor = -1;           ///< open for the file at lasPath; -1: it is opened by its name
  std::string lasName;              ///< the LAS file in messages; empty for its path
  PointOptions points;
  std::uint16_t epsg = 0;  ///< code of the coordinate system, 0 for none
  bool compress = false;   ///< write compressed points; see isLazName()
  unsigned threads = 0;    ///< that compress points, 1 to 64; 0 for as many as cores
};

/// The most threads that compress or decompress points.
constexpr unsigned kMostThreads = 64;

/// Whether a file name ends in ".laz", in capitals or not: an output of that name is compressed.
bool isLazName(std::string_view name);

/// Called after each batch of frames with the counts so far.
using Progress = std::function<void(const ConversionResult&)>;

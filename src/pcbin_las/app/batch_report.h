// SPDX-License-Identifier: BSD-3-Clause
// The report of a run with --batch.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "pcbin_las/export/conversion.h"
#include "pcbin_las/picture/picture.h"

/// What a run with --batch writes besides the LAS file.
struct BatchOutputs {
  std::string summaryPath;    ///< empty for none
  std::string picturePath;    ///< empty for none
  picture::Request picture;   ///< what the picture shows
  bool compare = false;       ///< draw the points without and with the optimised poses
  bool summaryFails = false;  ///< found before the conversion, like pictureFails
  bool pictureFails = false;
};

/// Exit statuses of a run with --batch.
enum BatchStatus : int {
  kEverythingWritten = 0,  ///< every point of the pcbin file is in the LAS file
  kSomethingMissing = 1,   ///< the LAS file was written, without some points, or with lines of the
                           ///< pose file left out; or summary or picture are missing
  kNothingWritten = 2,     ///< the LAS file is unchanged
};

/// The LAS file of a run, by which a summary names the file that it describes.
struct MapFile {
  std::uint64_t bytes = 0;
  std::uint64_t records = 0;
  timespec modified = {};  ///< time of the last modification
};

/// The outcome of a run with --batch.
struct BatchOutcome {
  BatchStatus status = kNothingWritten;
  std::optional<MapFile> map;  ///< none when no LAS file was written
  ConversionResult result;     ///< `written` and the bounds are 0 when no LAS file was written
  double seconds = 0;          ///< duration of the run
  std::string firstError;      ///< the first error line; empty for none
  std::uint64_t warningCount = 0;
  std::vector<std::string> warnings;  ///< the first warning lines
};

/// Writes the outcome as a JSON file, which is replaced atomically. False on failure. Throws
/// std::bad_alloc.
bool writeSummary(const Conversion& conversion, const BatchOutputs& outputs,
                  const BatchOutcome& outcome);

/// Writes the last line of the run to standard output; false when that does not accept all of it:
///
///   batch: status=0 read=… written=… no_pose=… refused=… pose_lines_skipped=…
///   frames=FOUND/ANNOUNCED points=FOUND/ANNOUNCED warnings=…
bool printLastLine(const BatchOutcome& outcome);

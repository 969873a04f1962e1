// SPDX-License-Identifier: BSD-3-Clause
// Checks whether the poses and the offset of a survey can be right.
#pragma once

#include <cstdint>
#include <string>

#include "pcbin_las/export/poses.h"

/// What a strict reading of a pose file finds besides the poses.
struct PoseFileReport {
  std::uint64_t poses = 0;    ///< lines that give a pose
  std::uint64_t skipped = 0;  ///< damaged lines
  std::string whyNoPose;      ///< the likely reason when no line gives a pose
  std::uint32_t lowestId = kNoId;
  std::uint32_t highestId = 0;
  std::uint64_t notUnit = 0;      ///< lines with a quaternion whose norm is not 1
  unsigned firstNotUnit = 0;      ///< the number of the first of them, counted from 1
  double normOfFirst = 1;         ///< its norm
  std::uint64_t newOffsets = 0;   ///< lines whose offset is not that of the data line before
  unsigned firstNewOffset = 0;    ///< the number of the first of them, counted from 1
  std::string firstOffsetChange;  ///< the two offsets, as text

  static constexpr std::uint32_t kNoId = norvo::kNoPose;
};

/// Whether the norm of a quaternion is so far from 1 that it cannot have been a unit quaternion:
/// below 0.5, above 2, or not finite.
bool isDamaged(double norm);

/// Whether the norm of a quaternion is off 1 by more than rounding to four digits explains.
bool isNotUnit(double norm);

/// Prints at most one warning for each of: quaternions that are no unit quaternions; an offset that
/// differs between data lines; an offset that looks like degrees; a set of quaternions that seems
/// to be stored x, y, z, w.
void checkPoses(const std::string& pgoPath, const PoseFileReport& report,
                const norvo::PGOResultMsg& poses);

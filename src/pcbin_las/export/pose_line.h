// SPDX-License-Identifier: BSD-3-Clause
// One data line of a pose file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pcbin_las/export/poses.h"

/// The number of fields of a data line, which pose_file.h lists.
constexpr std::size_t kPoseFields = 28;

/// The numbers of one data line.
struct PoseLine {
  norvo::PGOPoseStamped lio;
  norvo::PGOPoseStamped pgo;
  Eigen::Vector3d offset{0, 0, 0};
};

/// Converts the kPoseFields fields of a line. Returns the column of the first field that is not a
/// finite number of its type or, when `strict` is set, has other characters than blanks after the
/// number; nothing when all are valid. Does not check the fields of the offset when g_useOffset is
/// set.
std::optional<std::size_t> readPoseLine(const std::vector<std::string>& fields, bool strict,
                                        PoseLine& line);

// One data line of a pose file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "pcbin_las/export/poses.h"

/// The number of fields of a data line; pose_file.h lists them.
constexpr std::size_t kPoseFields = 28;

/// The numbers of one data line.
struct PoseLine {
  norvo::PGOPoseStamped lio;
  norvo::PGOPoseStamped pgo;
  Eigen::Vector3d offset{0, 0, 0};
};

/// Converts the kPoseFields fields of a line. Returns the column of the first field that is no
/// finite number of its type, or that holds more than a number and blanks when `strict` is set;
/// nothing when all are good. The offset's fields are not looked at when g_useOffset is set.
std::optional<std::size_t> readPoseLine(const std::vector<std::string>& fields, bool strict,
                                        PoseLine& line);

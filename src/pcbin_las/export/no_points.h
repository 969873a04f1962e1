// SPDX-License-Identifier: BSD-3-Clause
// Explains why a conversion has no points to write.
#pragma once

#include <string>

#include "pcbin_las/export/conversion.h"
#include "pcbin_las/export/pose_checks.h"

/// The cause, for a message, of a conversion that wrote no point although nothing failed.
std::string whyNoPoints(const Conversion& conversion, const ConversionResult& result,
                        const PoseFileReport& poses, const PointSample& sample);

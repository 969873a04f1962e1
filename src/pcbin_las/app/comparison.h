// SPDX-License-Identifier: BSD-3-Clause
// Pictures of a survey without and with the optimised poses.
#pragma once

#include "pcbin_las/app/batch_report.h"

/// Reads the inputs of `conversion` again, and draws both states of the points side by side. False,
/// with an error line, when that fails. Repeats no line of the conversion.
bool drawComparison(const Conversion& conversion, const BatchOutputs& outputs);

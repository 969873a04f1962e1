// SPDX-License-Identifier: BSD-3-Clause
// The convert mode for scripts.
#pragma once

#include <memory>

#include "pcbin_las/app/batch_report.h"
#include "pcbin_las/app/batch_sink.h"

/// Converts without prompts. The LAS file is replaced atomically, and the
/// last line on standard output gives status and counts. `sink` must be a sink of the tracer. An
/// output never replaces an input or another output. After handleStopSignals(), signals that end
/// the process remove the temporary files.
BatchStatus batch_convert(const Conversion& wanted, const BatchOutputs& outputs, BatchSink& sink);

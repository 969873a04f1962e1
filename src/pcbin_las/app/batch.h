// The convert mode for scripts.
#pragma once

#include <memory>

#include "pcbin_las/app/batch_report.h"
#include "pcbin_las/app/batch_sink.h"

/// Converts without a question: the LAS file appears whole under its name or not at all, and the
/// last line on standard output tells the outcome in numbers. `sink` must be a sink of the tracer.
/// No output ever takes the place of an input or of another output. `unattended` and `progress` of
/// `wanted` are not used. From now on signals that
/// end the process remove what is being written.
BatchStatus batch_convert(const Conversion& wanted, const BatchOutputs& outputs, BatchSink& sink);

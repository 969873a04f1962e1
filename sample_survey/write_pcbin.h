// SPDX-License-Identifier: BSD-3-Clause
// Writes surveys as pcbin files.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "pcbin_las/storage/frames.h"

/// Creates the pcbin file `path` with `frames` frames. `makeCloud` is called with 0, 1, ... and
/// returns the points of that frame. A bounded number of clouds is in memory at a time. False, with
/// error lines from the tracer, when the file is incomplete.
bool writePcbin(const std::string& path, unsigned frames,
                const std::function<std::shared_ptr<norvo::RgbCloud>(unsigned)>& makeCloud);

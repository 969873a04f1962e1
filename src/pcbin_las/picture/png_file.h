// SPDX-License-Identifier: BSD-3-Clause
// PNG files.
#pragma once

#include <string>

#include "pcbin_las/picture/canvas.h"

namespace picture {

/// Writes the picture to `path`, which is replaced atomically.
/// False, with an error line and without a new file, when that fails or `path` is something else
/// than a regular file.
bool writePng(const Canvas& canvas, const std::string& path);

}  // namespace picture

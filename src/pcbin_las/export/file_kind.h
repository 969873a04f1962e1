// SPDX-License-Identifier: BSD-3-Clause
// Recognises files that were named in place of others.
#pragma once

#include <string>
#include <string_view>

/// What kind of file begins with these bytes: "LAS", "pcbin", "PNG" or "gzip"; empty for others.
std::string_view fileKind(std::string_view beginning);

/// fileKind() of the file at `path`; empty when it cannot be read or is no regular file.
std::string_view kindOfFile(const std::string& path);

// SPDX-License-Identifier: BSD-3-Clause
// Escapes control characters in text from files and command lines, for terminals and logs.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "pcbin_las/platform/api.h"

namespace ferrun {

/// The number of bytes of the printable character that `text` begins with, which must not be empty;
/// 0 for a control character and for invalid UTF-8 (RFC 3629: no overlong form, no surrogate, at
/// most U+10FFFF).
std::size_t printableLength(std::string_view text);

/// `text` with each byte of these kinds written as "\xNN" (two upper-case hexadecimal digits):
/// bytes 0 to 31 and 127, the UTF-8 control characters C2 80 to C2 9F, and bytes that are not valid
/// UTF-8. Everything else is unchanged, including backslashes.
PCBIN_API std::string escapeControls(std::string_view text);

/// Whether escapeControls() would change `text`.
PCBIN_API bool hasControls(std::string_view text);

}  // namespace ferrun

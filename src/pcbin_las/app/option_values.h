// SPDX-License-Identifier: BSD-3-Clause
// The values of options, converted for the modes.
#pragma once

#include <optional>
#include <string>

#include "pcbin_las/export/conversion.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/process/arg_option.h"

namespace cli {

/// The first value of an option, or `fallback` when it has none.
std::string textOption(const ferrun::ArgOption& options, const char* option,
                       const std::string& fallback);

/// Prints an error line about an option's value that is not a number; always false.
bool badNumber(const char* option, const std::string& text);

/// Sets `number` to the first value of an option, if it has one. False, with an error line, when
/// that is not a number.
bool intOption(const ferrun::ArgOption& options, const char* option, int& number);

/// Sets g_useOffset and g_offset. Warns of missing values and of characters after a number. False,
/// with an error line, when a value is not a number.
bool offsetOption(const ferrun::ArgOption& options);

/// Sets the parameters of a conversion from the options i, o, f, gps-time, epsg, rgb16 and
/// source-id. Prints the name of the coordinate system. False, with an error line, for a refused
/// EPSG code.
bool conversionOptions(const ferrun::ArgOption& options, Conversion& conversion);

/// Sets the square of option zoom, if it is given. False, with an error line, when a value is not a
/// number.
bool zoomOption(const ferrun::ArgOption& options, std::optional<picture::Area>& zoom);

}  // namespace cli

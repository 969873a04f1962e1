// The values of options, converted for the modes.
#pragma once

#include <optional>
#include <string>

#include "pcbin_las/export/conversion.h"
#include "pcbin_las/picture/picture.h"
#include "pcbin_las/platform/arg_option.h"

namespace cli {

/// The first value of an option, or `fallback` when it has none.
std::string textOption(const ferrun::ArgOption& options, const char* option,
                       const std::string& fallback);

/// Prints that an option's value is no number; always false.
bool badNumber(const char* option, const std::string& text);

/// Sets `number` to the first value of an option, when it has one. False, with an error line, when
/// that is no number.
bool intOption(const ferrun::ArgOption& options, const char* option, int& number);

/// Sets g_useOffset and g_offset. Warns of too few values and of characters behind a number. False,
/// with an error line, when a value is no number.
bool offsetOption(const ferrun::ArgOption& options);

/// Sets what the options i, o, f, gps-time, epsg, rgb16 and source-id ask of a conversion. Prints
/// the name of the coordinate system. False, with an error line, for an EPSG code that is refused.
bool conversionOptions(const ferrun::ArgOption& options, Conversion& conversion);

/// Sets the square of option zoom, when it is given. False, with an error line, when a value is no
/// number.
bool zoomOption(const ferrun::ArgOption& options, std::optional<picture::Area>& zoom);

}  // namespace cli

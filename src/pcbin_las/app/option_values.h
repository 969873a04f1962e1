// SPDX-License-Identifier: BSD-3-Clause
// Reads and checks the values of the options: the functions that the rows of the table name.
#pragma once

#include "pcbin_las/app/option_table.h"

namespace cli {

/// Adds a note; true unless it is an error.
bool addNote(CommandLine& line, int level, const std::string& text);

/// A value of the type kEpsgCode without "EPSG:".
std::string withoutEpsg(const std::string& value);

/// Sets `member` from the values of an option. False after a note on a wrong value.
bool readValue(const Option& option, const Values& values, std::string& member, CommandLine& line);
bool readValue(const Option& option, const Values& values, bool& member, CommandLine& line);
bool readValue(const Option& option, const Values& values, int& member, CommandLine& line);

/// Reads an option into the member at the end of `Path`.
template <auto... Path>
bool into(const Option& option, const Values& values, CommandLine& line) {
  return readValue(option, values, (line.*....*Path), line);
}

/// @name The same for one option; what it sets may depend on the mode.
/// @{
bool readOffset(const Option& option, const Values& values, CommandLine& line);
bool readOutput(const Option& option, const Values& values, CommandLine& line);
bool readThreads(const Option& option, const Values& values, CommandLine& line);
bool readEpsg(const Option& option, const Values& values, CommandLine& line);
bool readClock(const Option& option, const Values& values, CommandLine& line);
bool readZoom(const Option& option, const Values& values, CommandLine& line);
bool readSlice(const Option& option, const Values& values, CommandLine& line);
bool readSourceId(const Option& option, const Values& values, CommandLine& line);
/// @}

/// @name The fault of one option in a line that was read
/// @{
Fault hasUseForThreads(const CommandLine& line);
Fault checkPicture(const CommandLine& line);
Fault checkSlice(const CommandLine& line);
Fault checkPictureSize(const CommandLine& line);
Fault checkCompare(const CommandLine& line);
Fault keepsAllAnyway(const CommandLine& line);
/// @}

}  // namespace cli

// Which codes of the EPSG data set a LAS file of metres can name as its coordinate system.
#pragma once

#include <string>
#include <string_view>

namespace pontra {

/// What checkEpsg() found.
struct EpsgCheck {
  bool taken;           ///< the code may be written into the file
  std::string text;     ///< taken: code and name, "EPSG:32632, WGS 84 / UTM zone 32N"; else why not
  std::string warning;  ///< taken, but with a doubt: which; else empty
};

/// Looks `code` up in the table of names, kinds and units that was compiled in. Taken are projected
/// systems whose unit is the metre, with a warning when the code is deprecated or its axes do not
/// point east and north, and codes from 1024 to 32766 that the table does not hold, with a warning
/// that they were not checked. Refused are other codes, systems of any other kind and systems in
/// any other unit; the text then names kind and unit and says what to give instead.
EpsgCheck checkEpsg(int code);

/// Version and date of the EPSG data set, "v10.076 of 2022-08-31"; empty in a build without its
/// table, which checks the range of a code only.
std::string_view epsgVersion();

}  // namespace pontra

// The settings of a run that main() fills from the command line before a mode starts; from then on
// they are only read.
#pragma once

#include <array>

inline int g_verbose = 0;                    ///< option v: above 0, the LAS viewer shows all fields
inline bool g_useOffset = false;             ///< option offset was given
inline std::array<double, 3> g_offset = {};  ///< option offset: x, y, z in the unit of the map

// SPDX-License-Identifier: BSD-3-Clause
// The version of the program.
#pragma once

/// The version with the commit that was built, for example 0.2.0+git20261123121410.1a2b3c4; of a
/// release, the number alone.
const char* fullVersion();

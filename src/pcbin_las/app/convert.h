// SPDX-License-Identifier: BSD-3-Clause
// The convert mode for a person.
#pragma once

#include "pcbin_las/export/conversion.h"

/// Whether the pcbin file exists; prints an error line if not. Warns when there is no pose file.
bool checkInputs(const Conversion& conversion);

/// Converts, asks before a file is overwritten, and waits for a key at the end. Returns the exit
/// status: 0, or -1 when the pcbin file is missing or its time stamps are refused.
int convert_dialogue(const Conversion& conversion);

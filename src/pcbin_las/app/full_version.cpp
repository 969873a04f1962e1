// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/full_version.h"

#include "full_version.inc"  // generated: PCBIN_LAS_FULL_VERSION

const char* fullVersion() {
  return PCBIN_LAS_FULL_VERSION;
}

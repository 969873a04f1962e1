// SPDX-License-Identifier: BSD-3-Clause
// The variable-length record that names a coordinate system.
#include "pcbin_las/las/variable_length_records.h"

#include <gmock/gmock.h>

#include "support/bytes.h"

namespace {

using test::Bytes;

TEST(ProjectedSystemRecord, HoldsTheGeoTiffKeysByteForByte) {
  EXPECT_EQ(pontra::projectedSystemRecord(32632),
            Bytes("\0\0LASF_Projection\0\xAF\x87\x20\0GeoTIFF keys", 34) + Bytes(20, '\0') +
                Bytes("\x01\0\x01\0\0\0\x03\0"
                      "\0\x04\0\0\x01\0\x01\0"
                      "\0\x0C\0\0\x01\0\x78\x7F"
                      "\x04\x0C\0\0\x01\0\x29\x23",
                      32));
}

}  // namespace

// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/pcbin_view.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace {

TEST(PcbinView, ReturnsWhetherTheFileCouldBeOpened) {
  const test::TempDir dir;
  EXPECT_TRUE(pcbin_view(dir.write("map.pcbin", test::rgbFile(1, 1)), 0, 1));
  EXPECT_FALSE(pcbin_view(dir.path("none"), 0, 1));
}

}  // namespace

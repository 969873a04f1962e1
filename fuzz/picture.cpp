// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the drawing of small pictures, without and with text.
#include "pcbin_las/picture/picture.h"

#include <filesystem>

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::discardLines();
  const std::string png = fuzz::directory().path("map.png");
  const picture::Request request = {.size = size % 2 == 0 ? 200 : 400};
  const bool drawn = picture::draw(fuzz::inputFile(fuzz::text(data, size)), png, request);
  fuzz::require(drawn == std::filesystem::exists(png));
  if (!drawn) return 0;
  const std::string file = test::readFile(png);
  fuzz::require(file.starts_with("\x89PNG\r\n\x1A\n") && file.ends_with("IEND\xAE\x42\x60\x82"));
  std::filesystem::remove(png);
  return 0;
}

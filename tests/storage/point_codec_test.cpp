#include "storage/point_codec.h"

#include <cmath>

#include <gtest/gtest.h>

namespace {

using modeling_app::decodePoint;
using modeling_app::encodePoint;

TEST(PointCodec, KeepsTheLowBitsOfIntensitiesAndColours) {
  const struct {
    float value;
    std::uint16_t intensity;
    std::uint8_t colour;
  } rows[] = {
      {0, 0, 0},           {255.9F, 255, 255},     {256, 256, 0},
      {300.5F, 300, 44},   {65535.9F, 65535, 255}, {65537.5F, 1, 1},
      {1e12F, 65535, 255}, {INFINITY, 65535, 255}, {-0.5F, 0, 0},
      {-5, 0, 0},          {-1e12F, 0, 0},         {NAN, 0, 0},
  };
  for (const auto& row : rows) {
    norvo::PointRGBIST point;
    point.intensity = row.value;
    EXPECT_EQ(encodePoint(point).intensity, row.intensity) << row.value;

    modeling_app::RgbPointRecord record{};
    record.r = record.g = record.b = row.value;
    record.intensity = row.intensity;
    record.a = 0xFF02;
    decodePoint(record, point);
    for (const int colour : {point.r, point.g, point.b}) EXPECT_EQ(colour, row.colour) << row.value;
    EXPECT_EQ(point.a, 2);
    EXPECT_EQ(point.intensity, static_cast<float>(row.intensity));
  }
}

}  // namespace

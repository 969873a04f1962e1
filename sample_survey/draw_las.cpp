// Draws LAS files as a PNG picture, from above or from the side. Pixels with more points, such as
// walls, are brighter.
#include <algorithm>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <Eigen/Core>
#include <png.h>

#include "drawing.h"
#include "las_points.h"
#include "pcbin_las/platform/arg_option.h"
#include "pcbin_las/platform/number.h"

namespace {

using Eigen::Vector2d;
using Eigen::Vector3d;
using Eigen::Vector3f;

constexpr const char* kUsage =
    "draw_las -i <map.las> [<another.las> ...] -o <picture.png> [--side] [--white]\n"
    "         [--width <pixels>] [--zoom <x> <y> <size>] [-h]\n\n"
    "Draws several files side by side with the same extent. --side looks north instead of down,\n"
    "--white draws on white. --width is the width of one drawing (default: 1000). --zoom draws "
    "the\n"
    "square of this size around a point, in the files' coordinates (metres); with --side, y is "
    "the\n"
    "height.\n";

constexpr int kGap = 10;  // pixels between two drawings

struct Look {
  bool side = false;
  bool white = false;
  int width = 1000;                ///< pixels
  std::optional<Vector3d> square;  ///< x and y of its centre, its size
};

/// The drawn area and its pixels.
struct View {
  int across;           ///< the axis from left to right
  int up;               ///< the axis from bottom to top
  Vector2d topLeft;     ///< metres
  double pixelSize;     ///< metres
  Eigen::Array2i size;  ///< pixels

  Vector2d pixel(const Vector3d& position) const {
    return {(position[across] - topLeft.x()) / pixelSize - 0.5,
            (topLeft.y() - position[up]) / pixelSize - 0.5};
  }
};

/// The lowest and highest coordinate along an axis, without outliers.
bool mainExtent(std::vector<LasPoints>& files, int axis, double& low, double& high) {
  constexpr int kStride = 37;
  std::vector<double> sample;
  for (LasPoints& file : files) {
    file.rewind();
    for (std::uint64_t i = 0; const auto record = file.next(); ++i) {
      if (i % kStride == 0) sample.push_back((file.position(*record) + file.offset())[axis]);
    }
  }
  if (sample.empty()) return false;
  std::ranges::sort(sample);
  const std::size_t outliers = sample.size() / 250;
  low = sample[outliers];
  high = sample[sample.size() - 1 - outliers];
  return true;
}

std::optional<View> chooseView(std::vector<LasPoints>& files, const Look& look) {
  View view{0, look.side ? 2 : 1, {0, 0}, 1, {look.width, look.width}};
  if (look.square) {
    const double size = look.square->z();
    view.topLeft = {look.square->x() - size / 2, look.square->y() + size / 2};
    view.pixelSize = size / look.width;
    return view;
  }
  double left = 0;
  double right = 0;
  double bottom = 0;
  double top = 0;
  if (!mainExtent(files, view.across, left, right) || !mainExtent(files, view.up, bottom, top))
    return std::nullopt;
  const double margin = 0.02 * (right - left) + 0.01;
  view.topLeft = {left - margin, top + margin};
  view.pixelSize = (right - left + 2 * margin) / look.width;
  const double height = (top - bottom + 2 * margin) / view.pixelSize;
  view.size.y() = static_cast<int>(std::clamp(height, 1.0, 4.0 * look.width));
  return view;
}

std::vector<Vector3f> draw(LasPoints& file, const View& view, const Vector3f& background) {
  Drawing drawing(view.size);
  std::uint16_t highest = 0;
  file.rewind();
  while (const auto record = file.next()) {
    const std::uint16_t red = record->red;
    const std::uint16_t green = record->green;
    const std::uint16_t blue = record->blue;
    highest = std::max({highest, red, green, blue});
    drawing.add(view.pixel(file.position(*record) + file.offset()), Vector3f(red, green, blue));
  }
  return drawing.colours(highest > 255 ? 65535 : 255, background);  // 8-bit or 16-bit colours
}

bool drawAll(std::vector<LasPoints>& files, const Look& look, const std::string& path) {
  const auto view = chooseView(files, look);
  if (!view) {
    std::cerr << "the files have no points\n";
    return false;
  }
  const Vector3f background = look.white ? Vector3f(255, 255, 255) : Vector3f(16, 18, 24);
  const auto width = static_cast<std::size_t>(view->size.x());
  const auto height = static_cast<std::size_t>(view->size.y());
  const std::size_t pictureWidth = files.size() * (width + kGap) - kGap;
  std::vector<std::uint8_t> bytes(pictureWidth * height * 3, 255);
  for (std::size_t i = 0; i < files.size(); ++i) {
    const auto colours = draw(files[i], *view, background);
    for (std::size_t pixel = 0; pixel < colours.size(); ++pixel) {
      const std::size_t column = i * (width + kGap) + pixel % width;
      for (int channel = 0; channel < 3; ++channel)
        bytes[(pixel / width * pictureWidth + column) * 3 + static_cast<std::size_t>(channel)] =
            static_cast<std::uint8_t>(std::clamp(colours[pixel][channel], 0.0F, 255.0F));
    }
  }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(pictureWidth);
  image.height = static_cast<png_uint_32>(height);
  image.format = PNG_FORMAT_RGB;
  if (png_image_write_to_file(&image, path.c_str(), 0, bytes.data(), 0, nullptr) != 0) return true;
  std::cerr << path << ": " << image.message << '\n';
  return false;
}

std::optional<Look> readLook(const ferrun::ArgOption& options) {
  Look look;
  look.side = options.hasOption("side") >= 0;
  look.white = options.hasOption("white") >= 0;
  if (options.hasOption("width") > 0) {
    look.width = ferrun::toInt(options["width"][0]).value_or(0);
    if (look.width < 1 || look.width > 20000) return std::nullopt;
  }
  if (options.hasOption("zoom") >= 0) {
    Vector3d square(0, 0, 0);
    const auto values = options["zoom"];
    for (std::size_t i = 0; i < 3 && values.size() == 3; ++i)
      square[static_cast<int>(i)] = ferrun::toDouble(values[i]).value_or(0);
    if (!(square.z() > 0)) return std::nullopt;
    look.square = square;
  }
  return look;
}

}  // namespace

int main(int argc, char** argv) {
  ferrun::ArgOption options;
  const bool parsed = options.parseArgs(argc, argv);
  const auto look = readLook(options);
  if (!parsed || !look || options.hasOption("i") <= 0 || options.hasOption("o") != 1) {
    std::cout << kUsage;
    return options.hasOption("h") >= 0 ? 0 : 1;
  }
  const auto paths = options["i"];
  std::vector<LasPoints> files(paths.size());
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (!files[i].open(paths[i])) return 1;
  }
  return drawAll(files, *look, options["o"][0]) ? 0 : 1;
}

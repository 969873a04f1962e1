// A picture of points: each pixel has the mean colour of its points.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include <Eigen/Core>

/// The summed colours of the pixels of one drawing.
class Drawing {
 public:
  explicit Drawing(const Eigen::Array2i& size)
      : size_(size), sums_(static_cast<std::size_t>(size.prod()), Eigen::Vector4f::Zero()) {}

  /// Adds a point to the four nearest pixels, bilinearly weighted. Points outside are ignored.
  void add(const Eigen::Vector2d& pixel, const Eigen::Vector3f& colour) {
    if (!(pixel.minCoeff() > -1 && pixel.x() < size_.x() && pixel.y() < size_.y())) return;
    const Eigen::Vector2d corner = pixel.array().floor();
    const Eigen::Vector2d part = pixel - corner;
    const auto column = static_cast<std::int64_t>(corner.x());
    const auto row = static_cast<std::int64_t>(corner.y());
    addTo(column, row, colour, (1 - part.x()) * (1 - part.y()));
    addTo(column + 1, row, colour, part.x() * (1 - part.y()));
    addTo(column, row + 1, colour, (1 - part.x()) * part.y());
    addTo(column + 1, row + 1, colour, part.x() * part.y());
  }

  /// The pixels, row by row from the top left. A point colour of `white` becomes 255 times a gain,
  /// so that channels can exceed 255. Pixels with few points are blended with `background`.
  std::vector<Eigen::Vector3f> colours(float white, const Eigen::Vector3f& background) const {
    float weights = 0;
    float covered = 0;
    for (const auto& sum : sums_) {
      weights += std::min(sum.w(), 20.0F);
      covered += sum.w() > 0 ? 1.0F : 0.0F;
    }
    const float meanWeight = weights / std::max(covered, 1.0F);
    std::vector<Eigen::Vector3f> result;
    result.reserve(sums_.size());
    for (const auto& sum : sums_) {
      const float cover = 1 - std::exp(-sum.w() / meanWeight);
      const Eigen::Vector3f colour =
          sum.head<3>() * (kGain * 255 / white / std::max(sum.w(), 1e-9F));
      result.emplace_back(background + std::sqrt(cover) * (colour - background));
    }
    return result;
  }

 private:
  static constexpr float kGain = 1.25F;  ///< brightens walls in the shade

  void addTo(std::int64_t column, std::int64_t row, const Eigen::Vector3f& colour, double weight) {
    if (column < 0 || column >= size_.x() || row < 0 || row >= size_.y()) return;
    const auto w = static_cast<float>(weight);
    sums_[static_cast<std::size_t>(row * size_.x() + column)] +=
        Eigen::Vector4f(w * colour.x(), w * colour.y(), w * colour.z(), w);
  }

  Eigen::Array2i size_;
  std::vector<Eigen::Vector4f> sums_;  ///< weighted red, green and blue, and the weights
};

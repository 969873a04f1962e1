// A small town around one street: houses, trees, poles and parked cars on flat ground.
#pragma once

#include <cstdint>
#include <optional>

#include "make_survey/noise.h"
#include "make_survey/solid_grid.h"

/// What a ray sees.
struct Sight {
  double distance;      ///< metres from the ray's origin
  double cosIncidence;  ///< of the angle between the ray and the surface's normal, 0 to 1
  Material material;
  Paint paint;  ///< as lit by the sun
};

class Town {
 public:
  /// Towns with another seed have other houses along the same street.
  explicit Town(std::uint64_t seed);

  /// The nearest surface that `ray` meets within `reach` metres. The ray starts above the street.
  std::optional<Sight> look(const Ray& ray, double reach) const;

 private:
  void addHouse(const Eigen::Vector2d& front, const Eigen::Vector2d& heading, double width,
                double depth);
  void addTree(const Eigen::Vector2d& foot, double size);
  void addCar(const Eigen::Vector2d& position, const Eigen::Vector2d& heading);
  void addPole(const Eigen::Vector2d& foot);
  void buildSide(int side);
  void plantTrees();

  Noise noise_;
  SolidGrid solids_;
};

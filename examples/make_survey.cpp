// Makes a sample survey: the files that a mapping pipeline and its pose-graph optimisation leave
// behind, and the truth to compare a conversion with.
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "make_survey/route.h"
#include "make_survey/scanner.h"
#include "make_survey/survey_files.h"
#include "make_survey/town.h"
#include "pcbin_las/platform/arg_option.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/process_setup.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

constexpr const char* kUsage =
    "make_survey [--out <directory>] [--sweeps <count>] [--points <count>] [--seed <number>]\n"
    "            [--points-per-sweep <count>] [-h]\n\n"
    "Drives a simulated lidar through a simulated town and writes into the directory\n"
    "(\"survey\" unless told otherwise, made when missing)\n"
    "  survey.pcbin  the points where a drifting odometry put them, one frame for each sweep\n"
    "  pgo.csv       the poses of the odometry and the optimised ones\n"
    "  truth.las     the points, in the same order, where they belong\n"
    "600 sweeps with 1500000 points in all unless told otherwise. The same seed makes the same\n"
    "survey, but for the times at which the frames were written.\n";

struct Settings {
  std::filesystem::path directory = "survey";
  std::uint64_t sweeps = 600;
  std::uint64_t points = 1500000;
  std::uint64_t seed = 1;
};

/// Sets `number` to the value of an option that was given; false when that is not in [low, high].
bool takeCount(const ferrun::ArgOption& options, const char* option, std::uint64_t low,
               std::uint64_t high, std::uint64_t& number) {
  if (options.hasOption(option) < 0) return true;
  const auto values = options[option];
  const auto value = values.size() == 1 ? ferrun::toUnsignedLong(values[0]) : std::nullopt;
  if (value && *value >= low && *value <= high) {
    number = *value;
    return true;
  }
  TRACE_ERROR("make_survey", "option %s: give one number from %llu to %llu!", option,
              static_cast<unsigned long long>(low), static_cast<unsigned long long>(high));
  return false;
}

std::optional<Settings> readSettings(const ferrun::ArgOption& options) {
  constexpr std::uint64_t kMostSweeps = 16777216;    // pose files name no larger sweep ids
  constexpr std::uint64_t kMostPoints = 4294967295;  // LAS 1.2 counts no further
  Settings settings;
  if (options.hasOption("out") > 0) settings.directory = options["out"][0];
  if (!takeCount(options, "sweeps", 1, kMostSweeps, settings.sweeps)) return std::nullopt;
  std::uint64_t pointsPerSweep = 0;
  if (!takeCount(options, "points", 1, kMostPoints, settings.points) ||
      !takeCount(options, "points-per-sweep", 1, kMostPoints / settings.sweeps, pointsPerSweep) ||
      !takeCount(options, "seed", 0, std::numeric_limits<std::uint64_t>::max(), settings.seed))
    return std::nullopt;
  if (pointsPerSweep > 0) settings.points = pointsPerSweep * settings.sweeps;
  return settings;
}

bool makeSurvey(const Settings& settings) {
  std::error_code error;
  std::filesystem::create_directories(settings.directory, error);
  SurveyFiles files;
  if (error || !files.open(settings.directory)) return false;
  const Town town(settings.seed);
  Scanner scanner(town, settings.seed);
  Route route(static_cast<std::uint32_t>(settings.sweeps), settings.seed);
  std::uint64_t done = 0;
  for (std::uint64_t sweep = 0; sweep < settings.sweeps; ++sweep) {
    const auto number = static_cast<std::uint32_t>(sweep);
    const std::uint64_t end = (sweep + 1) * settings.points / settings.sweeps;
    const SweepPoses poses = route.next();
    const auto& points =
        scanner.sweep(poses.optimised.transform(), number, static_cast<std::uint32_t>(end - done));
    if (!files.add(number, poses, points)) return false;
    done = end;
  }
  return files.close();
}

void startTracer() {
  auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
  tracer->addSink(std::make_shared<ferrun::STDSink>());
  tracer->start();
}

}  // namespace

int main(int argc, char** argv) {
  ferrun::ignoreWriteSignals();
  startTracer();
  ferrun::ArgOption options;
  if (!options.parseArgs(argc, argv) || options.hasOption("h") >= 0) {
    std::cout << kUsage;
    return options.hasOption("h") >= 0 ? 0 : 1;
  }
  const auto settings = readSettings(options);
  if (!settings) return 1;
  const std::string directory = settings->directory.string();
  if (!makeSurvey(*settings)) {
    TRACE_ERROR("make_survey", "the survey in %s could not be written!", directory.c_str());
    return 1;
  }
  std::printf("%s: %llu points in %llu sweeps\n", directory.c_str(),
              static_cast<unsigned long long>(settings->points),
              static_cast<unsigned long long>(settings->sweeps));
  return 0;
}

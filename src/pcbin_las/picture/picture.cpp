// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/picture.h"

#include <csignal>
#include <new>
#include <system_error>
#include <thread>

#include "pcbin_las/picture/las_input.h"
#include "pcbin_las/picture/map_drawing.h"
#include "pcbin_las/picture/png_file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace picture {
namespace {

constexpr unsigned kLargestNarrowColour = 255;

/// Starts a thread that handles no signals; one that is not joinable when that fails.
std::jthread startThread(const std::function<void()>& run) {
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &former);
  std::jthread thread;
  try {
    thread = std::jthread(run);
  } catch (const std::system_error&) {
    // The caller does the work.
  }
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  return thread;
}

/// Collects the points of the file in cells; the second half of many points in another thread.
bool collectOnce(const std::string& lasPath, LasInput& input, MapRaster& raster) {
  constexpr std::uint64_t kMany = 1'000'000;  // that take longer than a thread and a second raster
  const auto addTo = [](MapRaster& target) {
    return [&target](std::span<const MapPoint> points) { target.add(points); };
  };
  if (input.count() < kMany) return input.pass(addTo(raster));
  MapRaster other = raster;
  LasInput otherInput;
  bool read = false;
  const auto collectOther = [&] {
    try {
      read = otherInput.open(lasPath) && otherInput.count() == input.count() &&
             otherInput.passHalf(true, addTo(other));
    } catch (const std::bad_alloc&) {
      read = false;
    }
  };
  {
    const std::jthread thread = startThread(collectOther);  // ends with this block
    if (!thread.joinable()) collectOther();
    if (!input.passHalf(false, addTo(raster))) return false;
  }
  raster.add(other);
  return read;
}

/// Collects the points in cells, again when the first colour of 16 bits appears in points that were
/// not in the sample.
bool collect(const std::string& lasPath, LasInput& input, MapRaster& raster, bool wideColours) {
  if (!collectOnce(lasPath, input, raster)) return false;
  if (wideColours || raster.colourBits() <= kLargestNarrowColour) return true;
  raster = MapRaster(raster.view(), true);
  return collectOnce(lasPath, input, raster);
}

bool drawFile(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  LasInput input;
  if (!input.open(lasPath)) return false;
  const bool partial = request.zoom || request.slice;
  MapSample sample(request.zoom, request.slice);
  const auto add = [&sample](std::span<const MapPoint> points) { sample.add(points); };
  if (!(partial ? input.pass(add) : input.passSome(add))) return false;

  const PageLayout layout(request, 1);
  const auto view =
      makeView(sample, partial ? sample.points() : input.count(),
               partial ? sample.bounds() : input.headerBounds(), request, layout, lasPath);
  if (!view) return false;
  const bool wideColours = sample.colourBits() > kLargestNarrowColour;
  MapRaster raster(*view, wideColours);
  if (!collect(lasPath, input, raster, wideColours)) return false;
  const Caption caption = {.name = ferrun::FilePath(lasPath).baseName(),
                           .total = input.count(),
                           .system = input.system(),
                           .showsHeights = raster.colourBits() == 0,
                           .zoomed = request.zoom.has_value()};
  const Panel panels[] = {{&raster, drawMap(raster), ""}};
  return writePng(drawPage(layout, panels, caption), pngPath);
}

}  // namespace

bool isSupported() {
  return true;
}

bool draw(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  if (ferrun::File::isSameFile(lasPath, pngPath)) {
    TRACE_ERROR("picture", "picture(%s) would replace its input!", pngPath.c_str());
    return false;
  }
  return guarded(pngPath, request, [&] { return drawFile(lasPath, pngPath, request); });
}

}  // namespace picture

// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/picture/picture.h"

#include <cmath>
#include <csignal>
#include <exception>
#include <new>
#include <system_error>
#include <thread>

#include "pcbin_las/picture/displacements.h"
#include "pcbin_las/picture/las_input.h"
#include "pcbin_las/picture/page.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/available_cores.h"
#include "pcbin_las/process/file_path.h"

namespace picture {
namespace {

constexpr unsigned kLargestNarrowColour = 255;

/// Prints why the sample of the file `name` has no points.
void reportNoPoints(const MapSample& sample, const Request& request, const std::string& name) {
  const auto& [x, y, heights] = sample.bounds;
  if (request.isSlice() && heights.size() >= 0) {
    TRACE_ERROR("picture",
                "las file(%s) has no points from z %.3f to %.3f, its heights%s are %.3f to %.3f!",
                name.c_str(), request.slice.low, request.slice.high,
                request.zoom ? " in the square" : "", heights.low, heights.high);
  } else if (request.zoom && x.size() >= 0 && y.size() >= 0) {
    TRACE_ERROR("picture",
                "las file(%s) has no points from x %.3f to %.3f, y %.3f to %.3f, the map is from x "
                "%.3f to %.3f, y %.3f to %.3f!",
                name.c_str(), sample.x.low, sample.x.high, sample.y.low, sample.y.high, x.low,
                x.high, y.low, y.high);
  } else {
    TRACE_ERROR("picture", "las file(%s) has no points!", name.c_str());
  }
}

/// The view for a sample that stands for `count` points of the file `name`. Nothing, with an error
/// line, when no point is in the square and the slice of `request` or the view cannot be drawn.
std::optional<MapView> makeView(const MapSample& sample, std::uint64_t count,
                                const std::array<Range, 3>& bounds, const Request& request,
                                const PageLayout& layout, const std::string& name) {
  if (sample.positions.empty()) {
    reportNoPoints(sample, request, name);
    return std::nullopt;
  }
  const MapView view = chooseView(sample, count, bounds, request, layout.map);
  if (view.width > 0) return view;
  TRACE_ERROR("picture", "las file(%s) has coordinates that cannot be drawn!", name.c_str());
  return std::nullopt;
}

/// Runs `draw` for a picture. False, with an error line, when the square of `request` is not
/// finite, memory runs out, or `draw` returns false.
bool guarded(const std::string& pngPath, const Request& request,
             const std::function<bool()>& draw) {
  const auto& [x, y, width] = request.zoom.value_or(Area{.width = 1});
  if (!(std::isfinite(x) && std::isfinite(y) && std::isfinite(width) && width > 0)) {
    TRACE_ERROR("picture", "cannot draw a square of %g m around x %g, y %g!", width, x, y);
    return false;
  }
  try {
    return draw();
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("picture", "picture(%s): out of memory!", pngPath.c_str());
    return false;
  }
}

/// Adds points from all parts of the file to a sample, or all points when they are few or
/// `complete`.
bool takeSample(LasInput& input, bool complete, MapSample& sample) {
  constexpr std::uint64_t kFewPoints = std::uint64_t{1} << 23;
  constexpr std::uint64_t kBlocks = 256;
  constexpr std::uint64_t kBlockPoints = 1024;
  const auto add = [&sample](std::span<const MapPoint> points) { sample.add(points); };
  if (complete || input.count() <= kFewPoints) return input.pass(0, input.count(), add);
  for (std::uint64_t i = 0; i < kBlocks; ++i) {
    const std::uint64_t begin = i * (input.count() - kBlockPoints) / (kBlocks - 1);
    if (!input.pass(begin, begin + kBlockPoints, add)) return false;
  }
  return true;
}

/// Runs `work` in a thread that handles no signals; in this one when no thread can be started.
std::jthread runBeside(const std::function<void()>& work) {
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &former);
  std::jthread thread;
  try {
    thread = std::jthread(work);
  } catch (const std::system_error&) {
    // Done below.
  }
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  if (!thread.joinable()) work();
  return thread;
}

/// Collects the points of the file in cells; with two threads the second half of many points in
/// another thread.
bool collect(const std::string& lasPath, LasInput& input, unsigned threads, MapRaster& raster) {
  constexpr std::uint64_t kMany = 1'000'000;  // take longer than a thread and a second raster
  const auto pass = [](LasInput& source, std::uint64_t begin, std::uint64_t end,
                       MapRaster& target) {
    return source.pass(begin, end,
                       [&target](std::span<const MapPoint> points) { target.add(points); });
  };
  const std::uint64_t count = input.count();
  if (threads == 1 || count < kMany) return pass(input, 0, count, raster);
  MapRaster other = raster;
  bool isOtherRead = false;
  std::exception_ptr failure;
  const auto collectOther = [&] {
    try {
      LasInput second;
      isOtherRead = second.open(lasPath, threads) && second.count() == count &&
                    pass(second, count / 2, count, other);
    } catch (const std::bad_alloc&) {
      failure = std::current_exception();
    }
  };
  std::jthread thread = runBeside(collectOther);
  const bool isRead = pass(input, 0, count / 2, raster);
  if (thread.joinable()) thread.join();
  if (failure) std::rethrow_exception(failure);
  raster.add(other);
  return isRead && isOtherRead;
}

bool drawFile(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  constexpr unsigned kMostThreads = 64;
  const unsigned threads =
      std::min(request.threads != 0 ? request.threads : ferrun::availableCores(), kMostThreads);
  LasInput input;
  if (!input.open(lasPath, threads)) return false;
  const bool isPart = request.zoom || request.isSlice();
  MapSample sample = makeSample(request);
  if (!takeSample(input, isPart, sample)) return false;
  const PageLayout layout(request, 1);
  const auto view =
      makeView(sample, isPart ? sample.count : input.count(),
               isPart ? sample.bounds : input.headerBounds(), request, layout, lasPath);
  if (!view) return false;
  MapRaster raster(*view, sample.colourBits > kLargestNarrowColour);
  if (!collect(lasPath, input, threads, raster)) return false;
  if (sample.colourBits <= kLargestNarrowColour &&
      raster.counts().colourBits > kLargestNarrowColour) {  // none of those was in the sample
    raster = MapRaster(*view, true);
    if (!collect(lasPath, input, threads, raster)) return false;
  }
  const Caption caption = {.name = ferrun::FilePath(lasPath).baseName(),
                           .total = input.count(),
                           .system = input.system(),
                           .zoomed = request.zoom.has_value()};
  return drawPage(layout, {{{&raster, ""}}}, caption).writePng(pngPath);
}

bool compare(const PassMovedPoints& pass, Caption caption, const std::string& pngPath,
             Request request) {
  if (!request.zoom) {
    Displacements displacements;
    if (!pass([&](auto before, auto after) { displacements.add(before, after); })) return false;
    request.zoom = displacements.greatest();
  }
  MapSample sample = makeSample(request);
  if (!pass([&](auto /*before*/, auto after) {
        caption.total += after.size();
        sample.add(after);
      }))
    return false;
  const PageLayout layout(request, 2);
  const auto view = makeView(sample, sample.count, sample.bounds, request, layout, caption.name);
  if (!view) return false;
  MapRaster before(*view, false);
  MapRaster after(*view, false);
  if (!pass([&](auto pointsBefore, auto pointsAfter) {
        before.add(pointsBefore);
        after.add(pointsAfter);
      }))
    return false;
  const Panel panels[] = {{&before, "without the optimised poses"},
                          {&after, "with the optimised poses"}};
  return drawPage(layout, panels, caption).writePng(pngPath);
}

}  // namespace

bool draw(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  if (ferrun::File::isSameFile(lasPath, pngPath)) {
    TRACE_ERROR("picture", "picture(%s) would replace its input!", pngPath.c_str());
    return false;
  }
  return guarded(pngPath, request, [&] { return drawFile(lasPath, pngPath, request); });
}

bool drawComparison(const PassMovedPoints& pass, const std::string& name,
                    const pontra::MapSystem& system, const std::string& pngPath,
                    const Request& request) {
  const Caption caption = {.name = name, .system = system, .zoomed = true};
  return guarded(pngPath, request, [&] { return compare(pass, caption, pngPath, request); });
}

}  // namespace picture

#include "pcbin_las/picture/picture.h"

#include <cmath>
#include <new>

#include "pcbin_las/picture/las_input.h"
#include "pcbin_las/picture/page.h"
#include "pcbin_las/picture/png_file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/file_path.h"

namespace picture {
namespace {

bool isSquare(const Area& area) {
  return std::isfinite(area.x) && std::isfinite(area.y) && std::isfinite(area.width) &&
         area.width > 0;
}

class Sampler {
 public:
  explicit Sampler(const Request& request) : request_(request) {}
  void add(std::span<const MapPoint> points) {
    for (const MapPoint& p : points) {
      const auto [x, y, z] = p.position;
      for (auto c : p.colour) bits |= c;
      low = std::min(low, z); high = std::max(high, z);
      if (request_.slice && !(z >= request_.slice->low && z <= request_.slice->high)) continue;
      if (request_.zoom && !(std::abs(x - request_.zoom->x) <= request_.zoom->width / 2 && std::abs(y - request_.zoom->y) <= request_.zoom->width / 2)) continue;
      if (sample.points++ % every_ != 0) continue;
      sample.positions.push_back(p.position);
      if (sample.positions.size() < kMost) continue;
      for (std::size_t i = 0; i < kMost / 2; ++i) sample.positions[i] = sample.positions[2 * i];
      sample.positions.resize(kMost / 2);
      every_ *= 2;
    }
  }
  Sample sample;
  std::uint16_t bits = 0;
  double low = 1e300, high = -1e300;
 private:
  static constexpr std::size_t kMost = 65536;
  Request request_;
  std::uint64_t every_ = 1;
};

bool drawWhole(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  LasInput input;
  if (!input.open(lasPath)) return false;
  Sampler sampler(request);
  const auto take = [&](std::span<const MapPoint> p) { sampler.add(p); };
  if (!(request.zoom || request.slice ? input.passAll(take) : input.passSome(take))) return false;
  if (!request.zoom && !request.slice) sampler.sample.points = input.count();
  sampler.sample.boundsX = input.headerBounds(0);
  sampler.sample.boundsY = input.headerBounds(1);
  if (sampler.sample.positions.empty()) { TRACE_ERROR("picture", "no points!"); return false; }
  PageLayout layout(request.size);
  MapView view = chooseView(sampler.sample, request.zoom, layout.mapWidth(), layout.mapHeight());
  if (view.width == 0) {
    TRACE_ERROR("picture", "las file(%s) has coordinates that cannot be drawn!", lasPath.c_str());
    return false;
  }
  if (request.slice) view.slice = {request.slice->low, request.slice->high};
  MapRaster raster(view, (sampler.bits & 0xff00) != 0);
  if (!input.passAll([&](std::span<const MapPoint> p) { raster.add(p); })) return false;
  if (getenv("PICDBG")) fprintf(stderr, "cell %g pixel %g ratio %g\n", view.cellSize, view.pixelSize, view.cellSize / view.pixelSize);
  MapSurface surface(raster, raster.colourBits() == 0);
  surface.fill();
  surface.shade();
  const std::string name = ferrun::FilePath(lasPath).baseName();
  return writePng(drawPage(layout, raster, surface, name, input.count()), pngPath);
}

}  // namespace

bool isSupported() {
  return true;
}

bool draw(const std::string& lasPath, const std::string& pngPath, const Request& request) {
  const auto& zoom = request.zoom;
  if (zoom && !isSquare(*zoom)) {
    TRACE_ERROR("picture", "cannot draw a square of %g m around x %g, y %g!", zoom->width, zoom->x,
                zoom->y);
    return false;
  }
  if (ferrun::File::isSameFile(lasPath, pngPath)) {
    TRACE_ERROR("picture", "picture(%s) would replace its input!", pngPath.c_str());
    return false;
  }
  try {
    return drawWhole(lasPath, pngPath, request);
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("picture", "picture(%s): out of memory!", pngPath.c_str());
    return false;
  }
}

}  // namespace picture

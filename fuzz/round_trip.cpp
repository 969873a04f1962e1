// SPDX-License-Identifier: BSD-3-Clause
// Writes frames with the pcbin writer, reads them back and compares them. The first byte selects
// the kind of frames, then each frame is a byte with the number of its points and their records.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "fuzz_input.h"
#include "pcbin_las/storage/pcb_reader.h"
#include "pcbin_las/storage/pcb_writer.h"

namespace {

using norvo::IrtCloud;
using norvo::RgbCloud;

struct Input {
  const std::uint8_t* data;
  std::size_t size;

  /// The next bytes as a number; zeros beyond the end.
  template <class Number>
  Number take() {
    Number number{};
    const std::size_t count = std::min(size, sizeof(Number));
    std::memcpy(&number, data, count);
    data += count;
    size -= count;
    return number;
  }
};

template <class Point>
Point takePoint(Input& input) {
  Point point;
  point.x = input.take<float>();
  point.y = input.take<float>();
  point.z = input.take<float>();
  point.intensity = input.take<float>();
  point.timestamp = input.take<double>();
  if constexpr (requires { point.sweepid; }) {
    point.r = input.take<std::uint8_t>();
    point.g = input.take<std::uint8_t>();
    point.b = input.take<std::uint8_t>();
    point.a = input.take<std::uint8_t>();
    point.sweepid = input.take<std::uint32_t>();
  }
  return point;
}

template <class Number>
bool sameBits(Number a, Number b) {
  using Bits = std::conditional_t<sizeof(Number) == 8, std::uint64_t, std::uint32_t>;
  return std::bit_cast<Bits>(a) == std::bit_cast<Bits>(b);
}

template <class Point>
bool samePoint(const Point& read, const Point& written) {
  if (!sameBits(read.x, written.x) || !sameBits(read.y, written.y) ||
      !sameBits(read.z, written.z) || !sameBits(read.timestamp, written.timestamp))
    return false;
  if constexpr (requires { read.sweepid; }) {
    const bool kept = written.intensity >= 0 && written.intensity <= 65535;
    return read.r == written.r && read.g == written.g && read.b == written.b &&
           read.a == written.a && read.sweepid == written.sweepid &&
           (!kept || read.intensity == std::trunc(written.intensity));
  } else {
    return sameBits(read.intensity, written.intensity);
  }
}

template <class Cloud>
std::vector<std::shared_ptr<Cloud>> takeClouds(Input& input) {
  std::vector<std::shared_ptr<Cloud>> clouds;
  while (input.size > 0) {
    auto cloud = std::make_shared<Cloud>();
    for (auto count = input.take<std::uint8_t>(); count > 0 && input.size > 0; --count)
      cloud->points.push_back(takePoint<typename Cloud::PointType>(input));
    clouds.push_back(cloud);
  }
  return clouds;
}

template <class Frames, class Clouds>
void checkFrames(const Frames& frames, const Clouds& clouds) {
  fuzz::require(frames.size() == clouds.size());
  for (std::size_t k = 0; k < frames.size(); ++k) {
    const auto& read = frames[k]->cloud->points;
    const auto& written = clouds[k]->points;
    fuzz::require(read.size() == written.size());
    for (std::size_t i = 0; i < read.size(); ++i) fuzz::require(samePoint(read[i], written[i]));
  }
}

/// Writes each cloud as the frame made by `toFrame`, and compares it with the result of `read`.
template <class Clouds, class ToFrame, class Read>
void roundTrip(const Clouds& clouds, ToFrame toFrame, Read read) {
  const std::string path = fuzz::directory().path("frames");
  modeling_app::PcbWriter writer(std::make_shared<ferrun::AsyncTaskQueue>("not started"));
  fuzz::require(writer.open(path, 1000));
  for (const auto& cloud : clouds) fuzz::require(writer.writePcl(toFrame(cloud)));
  writer.close();
  fuzz::require(writer.writeStatus().frames == clouds.size());
  modeling_app::PcbReader reader;
  fuzz::require(reader.open(path, 0));
  checkFrames(read(reader), clouds);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::discardLines();
  Input input{data, size};
  const auto most = static_cast<unsigned>(size);
  if (input.take<std::uint8_t>() % 2 == 1) {
    const auto toFrame = [](const std::shared_ptr<IrtCloud>& cloud) {
      auto frame = std::make_shared<modeling_app::PclFrame>();
      frame->cloud = cloud;
      return frame;
    };
    roundTrip(takeClouds<IrtCloud>(input), toFrame, [most](auto& r) { return r.readPcl(most); });
  } else {
    roundTrip(
        takeClouds<RgbCloud>(input), [](const auto& cloud) { return cloud; },
        [most](auto& r) { return r.readPclRGB(most); });
  }
  return 0;
}

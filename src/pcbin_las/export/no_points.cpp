// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/no_points.h"

#include <algorithm>

#include "pcbin_las/export/file_kind.h"
#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/storage/pcb_format.h"

namespace {

using ferrun::StrUtil;
using modeling_app::ReadEnd;

/// Whether the first frame of a pcbin file is a lidar frame; false for a file that is not regular.
bool beginsWithLidarFrame(const std::string& path) {
  ferrun::File file;
  if (kindOfFile(path) != "pcbin" || !file.open(path, ferrun::File::kRead)) return false;
  file.seek(sizeof(modeling_app::PcbHeader));
  modeling_app::PcbFrameHeader header;
  return ferrun::readImage(file, header) == sizeof(header) &&
         header.format == modeling_app::kIrtFormat;
}

std::string whyNothingWasRead(const std::string& path, const ConversionResult& result) {
  const char* const name = path.c_str();
  if (result.readEnd == ReadEnd::kEndOfFile) return StrUtil::format("%s holds no points", name);
  if (beginsWithLidarFrame(path))
    return StrUtil::format("%s holds lidar frames, only coloured frames can be converted", name);
  return StrUtil::format("the first frame of %s is damaged", name);
}

/// Names the sweeps of both files, when no point has a pose.
std::string whyNoSweepFits(const Conversion& conversion, const PoseFileReport& poses,
                           const PointSample& sample) {
  const auto [lowest, highest] =
      std::ranges::minmax(sample.points(), {}, &PointSample::Point::sweepid);
  return StrUtil::format(
      "%s has poses of the sweeps %u to %u, %s points of the sweeps %u to %u (of a sample)",
      conversion.pgoPath.c_str(), poses.lowestId, poses.highestId, conversion.pcbinPath.c_str(),
      lowest.sweepid, highest.sweepid);
}

}  // namespace

std::string whyNoPoints(const Conversion& conversion, const ConversionResult& result,
                        const PoseFileReport& poses, const PointSample& sample) {
  if (result.read == 0) return whyNothingWasRead(conversion.pcbinPath, result);
  if (!conversion.pgoPath.empty() && poses.poses == 0)
    return StrUtil::format("%s gives no pose, %s", conversion.pgoPath.c_str(),
                           poses.whyNoPose.c_str());
  if (result.refused == 0) return whyNoSweepFits(conversion, poses, sample);
  const std::string refused =
      StrUtil::format("the coordinates of %llu points do not fit the LAS file",
                      static_cast<unsigned long long>(result.refused));
  return result.noPose == 0
             ? refused
             : refused + StrUtil::format(", and %llu points have no pose",
                                         static_cast<unsigned long long>(result.noPose));
}

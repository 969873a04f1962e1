// SPDX-License-Identifier: BSD-3-Clause
// Saves the first frame of a pcbin file of coloured points as a PCD file:
// pcbin_to_pcd survey.pcbin frame.pcd
#include <cstdio>
#include <exception>
#include <pcbin_las/storage/pcb_reader.h>
#include <pcbin_las/storage/pcl_registration.h>  // before PCL's algorithms

#include <pcl/io/pcd_io.h>

constexpr unsigned kBufferSize = 4U << 20;  // bytes; no effect on reading

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  modeling_app::PcbReader reader;
  if (!reader.open(argv[1], kBufferSize)) return 1;
  const auto frames = reader.readPclRGB(1);
  if (frames.empty()) return 1;
  try {
    if (pcl::io::savePCDFileBinary(argv[2], *frames[0]->cloud) != 0) return 1;
  } catch (const std::exception& failure) {  // an empty cloud, or a file that cannot be written
    std::fprintf(stderr, "%s: %s\n", argv[2], failure.what());
    return 1;
  }
  std::printf("%s: %zu points\n", argv[2], frames[0]->cloud->size());
  return 0;
}

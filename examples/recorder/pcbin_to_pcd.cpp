// SPDX-License-Identifier: BSD-3-Clause
// Saves each frame of a pcbin file of coloured points as a PCD file:
// pcbin_to_pcd survey.pcbin frame    writes frame_0.pcd, frame_1.pcd and so on
#include <cstdio>
#include <exception>
#include <pcbin_las/platform/tracer.h>
#include <pcbin_las/storage/pcb_reader.h>
#include <pcbin_las/storage/pcl_registration.h>  // before PCL's algorithms
#include <string>

#include <pcl/io/pcd_io.h>

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: pcbin_to_pcd FILE PREFIX\n", stderr), 2;
  ferrun::printLinesToConsole(ferrun::kLevelWarning);
  modeling_app::PcbReader reader;
  if (!reader.open(argv[1], modeling_app::PcbReader::kBufferSize)) return 1;
  unsigned saved = 0;
  unsigned failed = 0;
  for (auto frames = reader.readPclRGB(1); !frames.empty(); frames = reader.readPclRGB(1)) {
    std::string name = argv[2];
    name.append("_").append(std::to_string(saved + failed)).append(".pcd");
    try {
      if (pcl::io::savePCDFileBinary(name, *frames[0]->cloud) != 0)
        throw pcl::IOException("not saved");
      ++saved;
    } catch (const std::exception& failure) {  // an empty cloud, or a file that cannot be written
      std::fprintf(stderr, "%s: %s\n", name.c_str(), failure.what());
      ++failed;
    }
  }
  std::printf("%s: %u frames saved, %u failed\n", argv[1], saved, failed);
  return failed == 0 && reader.lastReadEnd() == modeling_app::ReadEnd::kEndOfFile ? 0 : 1;
}

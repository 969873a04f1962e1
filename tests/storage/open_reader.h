// A reader that has a file of given bytes open.
#pragma once

#include <stdexcept>

#include "pcbin_las/storage/pcb_reader.h"
#include "support/temp_dir.h"

namespace test {

class OpenReader : public modeling_app::PcbReader {
  TempDir directory_;

 public:
  explicit OpenReader(const Bytes& contents) : path(directory_.write("map.pcbin", contents)) {
    if (!open(path, 4U << 20)) throw std::runtime_error("file refused");
  }
  const std::string path;
};

}  // namespace test

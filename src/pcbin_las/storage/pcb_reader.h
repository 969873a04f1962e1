// SPDX-License-Identifier: BSD-3-Clause
// Reads pcbin files.
#pragma once

#include <string>

#include "pcbin_las/platform/api.h"
#include "pcbin_las/storage/pcl_binary.h"

namespace modeling_app {

/// Opens a pcbin file, checks its header and reads its frames through readPclRGB() and readPcl().
class PCBIN_API PcbReader : public PclBinary {
 public:
  PcbReader();
  ~PcbReader() override;

  /// Opens the file at `path`, positioned at its first frame. False, with an error line, when there
  /// is no such file, it cannot be opened, it is not a pcbin file, or there is no memory. A file
  /// whose header was rejected stays open until close(). `newBufferSize` has no effect.
  bool open(const std::string& path, unsigned newBufferSize) override;

  /// Closes the file, after read calls of other threads have returned. The reader may be opened
  /// again.
  void close() override;

 private:
  bool openFile(const std::string& path);
  bool readHeader();

  std::string className = "PcbReader";
};

}  // namespace modeling_app

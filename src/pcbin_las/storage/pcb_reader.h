// Reads pcbin files.
#pragma once

#include "pcbin_las/platform/api.h"
#include "pcbin_las/storage/pcl_binary.h"

namespace modeling_app {

/// Opens a pcbin file, checks its header and hands out its frames through readPclRGB() and
/// readPcl().
class PCBIN_API PcbReader : public PclBinary {
 public:
  /// Closes the file.
  ~PcbReader() override;

  /// Opens the file at `path` and stands before its first frame. False, with an error line, when
  /// there is no such file or it is no pcbin file. When its header was read and refused, the file
  /// stays open until close(). `newBufferSize` is recorded; reading does not depend on it.
  bool open(const std::string& path, unsigned newBufferSize) override;

  /// Closes the file; waits for a read call of another thread. The reader may be opened again.
  void close() override;

 private:
  std::string className = "PcbReader";
};

}  // namespace modeling_app

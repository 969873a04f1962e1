// Injects faults into the read(2) and write(2) calls of this process on one file. Programs that use
// it link faulty_io.cpp, whose functions replace those of the C library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace test {

struct IoFaults {
  std::size_t longestTransfer = SIZE_MAX;  ///< bytes that a call transfers at most
  int everyOther = 0;                      ///< errno of every other call; 0 for none
  std::int64_t end = INT64_MAX;  ///< from this offset on, writes give ENOSPC and reads give EIO
};

/// The file at a path has these faults during the lifetime of the object; use one at a time.
class FaultyFile {
 public:
  FaultyFile(const std::string& path, const IoFaults& faults);
  FaultyFile(const FaultyFile&) = delete;
  FaultyFile& operator=(const FaultyFile&) = delete;
  ~FaultyFile();
};

}  // namespace test

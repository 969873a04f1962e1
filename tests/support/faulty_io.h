// Files that fail: read(2) and write(2) of this process, with faults put in for one file. Programs
// that use it link faulty_io.cpp, whose functions take the place of the C library's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace test {

struct IoFaults {
  std::size_t longestTransfer = SIZE_MAX;  ///< bytes that a call moves at most
  int everyOther = 0;                      ///< errno of every other call; 0 for none
  std::int64_t end = INT64_MAX;  ///< from this offset on, writes give ENOSPC and reads give EIO
};

/// The file at a path has these faults while the object lives; use one at a time.
class FaultyFile {
 public:
  FaultyFile(const std::string& path, const IoFaults& faults);
  FaultyFile(const FaultyFile&) = delete;
  FaultyFile& operator=(const FaultyFile&) = delete;
  ~FaultyFile();
};

}  // namespace test

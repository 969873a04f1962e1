// SPDX-License-Identifier: BSD-3-Clause
// The parts of an uncompressed LAS file of any version and point format, as defined by the ASPRS
// LAS standards 1.0 to 1.4.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pcbin_las/las/las_records.h"
#include "pcbin_las/platform/file.h"

namespace pontra {

/// The header of LAS 1.4: the fields of LAS 1.2, one of LAS 1.3, and four of LAS 1.4.
struct [[gnu::packed]] LasHeader14 {
  LasHeader start;                     ///< offset 0
  std::uint64_t waveformStart;         ///< offset 227: of the waveform packets; LAS 1.3
  std::uint64_t extendedStart;         ///< offset 235: of the extended variable-length records
  std::uint32_t numberOfExtended;      ///< offset 243
  std::uint64_t numberOfPointRecords;  ///< offset 247; the field of LAS 1.2 is the legacy count
  std::uint64_t numberOfPointsByReturn[15];  ///< offset 255: first return first
};
static_assert(sizeof(LasHeader14) == 375 && offsetof(LasHeader14, numberOfPointsByReturn) == 255);

/// Where the parts of a LAS file lie, and what its header says of the points.
struct LasLayout {
  LasHeader14 header;  ///< of the file; fields behind `headerEnd` are 0
  int headerEnd;       ///< end of the fields that the file's version and header size define
  int headerSize;      ///< the header size in the file, or the version's if that is wrong
  std::int64_t pointsBegin;
  std::int64_t pointsEnd;  ///< of the first extended record or waveform packet, or of the file
  std::int64_t fileSize;
  std::uint64_t announced;            ///< the number of points by the header
  std::vector<std::string> warnings;  ///< parts that the header declares and the file lacks

  bool hasLongCount() const { return headerEnd >= 255; }
  bool hasLongReturns() const { return headerEnd >= 375; }

  /// Whether the points are of formats 6 to 10, which have return numbers up to 15.
  bool hasLongFormat() const { return header.start.pointDataFormatID >= 6; }

  /// Whether something follows the points.
  bool hasExtended() const { return pointsEnd < fileSize; }
};

/// Reads the header of the regular file `file`, which is open for reading, and finds the parts of
/// the file. An extended record or a waveform packet counts when the header gives its position and
/// a record header stands there. Returns an empty text, or the reason why the file is not an
/// uncompressed LAS file of version 1.0 to 1.4 and point format 0 to 10 with consistent lengths.
std::string readLayout(ferrun::File& file, LasLayout& layout);

}  // namespace pontra

// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/export/pose_line.h"

#include "pcbin_las/export/pose_file.h"
#include "pcbin_las/platform/number.h"

namespace {

using Fields = std::vector<std::string>;

/// Converts the fields of one data line and records the first that is not a number. In strict mode,
/// a field with characters after its number is not one.
class FieldReader {
  template <class Convert>
  auto read(std::size_t column, Convert convert) {
    const std::string& field = fields_[column];
    std::size_t end = 0;
    const auto number = convert(field, &end);
    if ((!number || (strict_ && end < field.size())) && !badColumn_) badColumn_ = column;
    return number.value_or(0);
  }

 public:
  FieldReader(const Fields& fields, bool strict) : fields_(fields), strict_(strict) {}

  double real(std::size_t column) { return read(column, ferrun::toDouble); }

  std::uint32_t sweepId(std::size_t column) {
    return static_cast<std::uint32_t>(read(column, [](const std::string& field, std::size_t* end) {
      const auto id = ferrun::toUnsignedLong(field, end);
      return id && *id <= kLargestSweepId ? id : std::nullopt;
    }));
  }

  Eigen::Vector3f vector(std::size_t column) {
    return {single(column), single(column + 1), single(column + 2)};
  }

  /// A quaternion written w, x, y, z.
  Eigen::Quaternionf quaternion(std::size_t column) {
    return {single(column), single(column + 1), single(column + 2), single(column + 3)};
  }

  std::optional<std::size_t> badColumn() const { return badColumn_; }

 private:
  float single(std::size_t column) { return read(column, ferrun::toFloat); }

  const Fields& fields_;
  bool strict_;
  std::optional<std::size_t> badColumn_;
};

}  // namespace

std::optional<std::size_t> readPoseLine(const std::vector<std::string>& fields, bool strict,
                                        PoseLine& line) {
  FieldReader reader(fields, strict);
  line.lio.timestamp = line.pgo.timestamp = reader.real(0);
  line.lio.id = line.pgo.id = reader.sweepId(1);
  if (g_useOffset)
    line.offset = {g_offset[0], g_offset[1], g_offset[2]};
  else
    line.offset = {reader.real(2), reader.real(3), reader.real(4)};
  line.lio.translation = reader.vector(5);
  line.lio.aux1 = reader.vector(8);
  line.lio.rotation = reader.quaternion(11);
  line.pgo.translation = reader.vector(15);
  line.pgo.aux1 = reader.vector(18);
  line.pgo.rotation = reader.quaternion(21);
  line.pgo.aux2 = reader.vector(25);
  return reader.badColumn();
}

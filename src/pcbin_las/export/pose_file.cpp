#include "pcbin_las/export/pose_file.h"

#include <new>
#include <optional>

#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/platform/trace_macros.h"

namespace {

using Fields = std::vector<std::string>;

constexpr std::size_t kFieldCount = 28;

/// The numbers of one data line.
struct PoseLine {
  norvo::PGOPoseStamped lio;
  norvo::PGOPoseStamped pgo;
  Eigen::Vector3d offset{0, 0, 0};
};

/// Converts the fields of one data line, and remembers the first that is no number.
class FieldReader {
 public:
  explicit FieldReader(const Fields& fields) : fields_(fields) {}

  double real(std::size_t column) { return take(column, ferrun::toDouble(fields_[column])); }

  std::uint32_t sweepId(std::size_t column) {
    auto id = ferrun::toUnsignedLong(fields_[column]);
    if (id && *id > kLargestSweepId) id.reset();
    return static_cast<std::uint32_t>(take(column, id));
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
  float single(std::size_t column) { return take(column, ferrun::toFloat(fields_[column])); }

  template <class Number>
  Number take(std::size_t column, const std::optional<Number>& number) {
    if (!number && !badColumn_) badColumn_ = column;
    return number.value_or(Number{});
  }

  const Fields& fields_;
  std::optional<std::size_t> badColumn_;
};

PoseLine readPoseLine(FieldReader& fields) {
  PoseLine line;
  line.lio.timestamp = line.pgo.timestamp = fields.real(0);
  line.lio.id = line.pgo.id = fields.sweepId(1);
  if (g_useOffset)
    line.offset = {g_offset[0], g_offset[1], g_offset[2]};
  else
    line.offset = {fields.real(2), fields.real(3), fields.real(4)};
  line.lio.translation = fields.vector(5);
  line.lio.aux1 = fields.vector(8);
  line.lio.rotation = fields.quaternion(11);
  line.pgo.translation = fields.vector(15);
  line.pgo.aux1 = fields.vector(18);
  line.pgo.rotation = fields.quaternion(21);
  line.pgo.aux2 = fields.vector(25);
  return line;
}

/// Makes room for poses up to that of `sweep`, new records holding none. False, with an error line,
/// when there is no memory for them.
bool makeRoom(norvo::PGOResultMsg& msg, std::size_t sweep, const std::string& pgoPath) {
  if (sweep < msg.pgoPoses.size()) return true;
  try {
    msg.lioPoses.resize(sweep + 1);
    msg.pgoPoses.resize(sweep + 1);
    return true;
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("pcbin_las", "pgo file(%s): no memory for poses up to sweep %zu!", pgoPath.c_str(),
                sweep);
    return false;
  }
}

}  // namespace

bool loadPgoFile(const std::string& pgoPath, norvo::PGOResultMsg& msg) {
  if (g_useOffset) msg.offset = {g_offset[0], g_offset[1], g_offset[2]};
  if (pgoPath.empty()) return true;
  ferrun::File file;
  if (!file.open(pgoPath, ferrun::File::kRead)) {
    TRACE_ERROR("pcbin_las", "cannot open pgo file: %s!", pgoPath.c_str());
    return false;
  }

  if (!makeRoom(msg, 0, pgoPath)) return false;
  std::string text;
  for (unsigned lineNumber = 1; file.readLine(&text) > 0; ++lineNumber) {
    const Fields pieces = ferrun::StrUtil::splitString(text, ",", false);
    if (pieces.size() != kFieldCount || pieces[0].starts_with('#')) continue;
    FieldReader fields(pieces);
    const PoseLine line = readPoseLine(fields);
    if (const auto column = fields.badColumn()) {
      TRACE_WARNING("pcbin_las",
                    "pgo file(%s) line %u skipped, column %zu is not a valid number(%s)!",
                    pgoPath.c_str(), lineNumber, *column, pieces[*column].c_str());
      continue;
    }
    const std::size_t sweep = line.pgo.id;
    if (!makeRoom(msg, sweep, pgoPath)) return false;
    msg.lioPoses[sweep] = line.lio;
    msg.pgoPoses[sweep] = line.pgo;
    msg.offset = line.offset;
  }
  return true;
}

// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/las_reader.h"

#include <algorithm>

#include "pcbin_las/las/variable_length_records.h"
#include "pcbin_las/platform/byte_image.h"

namespace pontra {

std::optional<LasReader::OpenError> LasReader::open(const std::string& path) {
  if (!file_.open(path, ferrun::File::kRead)) return OpenError::kNoFile;
  if (ferrun::readImage(file_, header_) != sizeof(header_)) return OpenError::kNoHeader;
  return std::nullopt;
}

bool LasReader::findPoints(PointsBegin rule) {
  bool asStated = true;
  if (rule == PointsBegin::kAtOffset || header_.pointDataOffset == sizeof(LasHeader)) {
    dataStart_ = header_.pointDataOffset;
  } else if (isRegular() && isLas12Format3(header_) && variableLengthRecordsFit(file_, header_)) {
    dataStart_ = file_.pos();
    return true;
  } else {
    asStated = false;
  }
  if (file_.pos() != dataStart_) file_.seek(dataStart_);
  return asStated;
}

bool LasReader::readBytesBeforePoints(const std::function<bool(std::span<const char>)>& take) {
  constexpr std::int64_t kPieceSize = 1 << 20;
  if (file_.pos() != sizeof(LasHeader)) file_.seek(sizeof(LasHeader));
  std::vector<char> piece;
  for (std::int64_t left = dataStart_ - std::int64_t{sizeof(LasHeader)}; left > 0;) {
    const auto size = static_cast<int>(std::min(left, kPieceSize));
    piece.resize(static_cast<std::size_t>(size));
    if (file_.readData(piece.data(), size) != size || !take(piece)) return false;
    left -= size;
  }
  return true;
}

bool LasReader::isCompressed() {
  if (compressed_) return true;
  auto compressed = std::make_unique<CompressedReader>(file_);
  if (compressed->isCompressed(header_)) compressed_ = std::move(compressed);
  if (file_.isRegular() && file_.pos() != dataStart_) file_.seek(dataStart_);
  return compressed_ != nullptr;
}

std::string LasReader::findCompressedPoints(unsigned threads) {
  std::string reason = compressed_->open();
  compressed_->useThreads(threads);
  decompresses_ = reason.empty();
  return reason;
}

std::uint64_t LasReader::recordsHeld() const {
  if (decompresses_) return compressed_->count();
  if (!isRegular()) return 0;
  const std::int64_t bytes = std::max<std::int64_t>(fileSize() - dataStart_, 0);
  return static_cast<std::uint64_t>(bytes) / sizeof(LasPointRecord);
}

/// Reads and drops `bytes` bytes, with one seek where possible; false when the file ends before.
bool LasReader::skip(std::uint64_t bytes) {
  if (file_.skip(static_cast<std::int64_t>(bytes))) return true;
  constexpr std::uint64_t kPieceSize = 1U << 20;
  std::vector<char> piece(std::min(bytes, kPieceSize));
  while (bytes > 0) {
    const auto size = static_cast<int>(std::min(bytes, kPieceSize));
    if (file_.readData(piece.data(), size) != size) return false;
    bytes -= static_cast<std::uint64_t>(size);
  }
  return true;
}

bool LasReader::seek(std::uint64_t index) {
  if (decompresses_) {
    compressed_->seek(index);
    return index < compressed_->count();
  }
  const std::uint64_t from = next_;
  next_ = index;
  if (index >= from) return skip((index - from) * sizeof(LasPointRecord));
  if (!isRegular()) return false;
  file_.seek(dataStart_ + static_cast<std::int64_t>(index * sizeof(LasPointRecord)));
  return true;
}

std::span<const LasPointRecord> LasReader::readCompressed(std::size_t most) {
  const auto records = compressed_->read(most);
  end_ = compressed_->damaged() ? End::kDamaged : End::kEndOfFile;
  if (records.size() == most) end_ = End::kNone;
  return records;
}

std::span<const LasPointRecord> LasReader::read(std::size_t most) {
  if (decompresses_) return readCompressed(most);
  if (block_.size() < most || block_.empty()) block_.resize(std::max<std::size_t>(most, 1));
  const auto size = static_cast<int>(most * sizeof(LasPointRecord));
  const int errorBefore = file_.readError();
  const int done = file_.readData(reinterpret_cast<char*>(block_.data()), size);
  const auto bytes = static_cast<std::size_t>(std::max(done, 0));
  const std::size_t count = bytes / sizeof(LasPointRecord);
  if (done == size)
    end_ = End::kNone;
  else if (done < 0 || file_.readError() != errorBefore)
    end_ = End::kReadError;
  else
    end_ = bytes % sizeof(LasPointRecord) == 0 ? End::kEndOfFile : End::kPartialRecord;
  next_ += count;
  return {block_.data(), count};
}

}  // namespace pontra

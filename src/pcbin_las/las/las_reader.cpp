// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/las/las_reader.h"

#include <algorithm>
#include <memory>
#include <new>

#include "pcbin_las/platform/byte_image.h"

namespace pontra {

std::optional<LasReader::OpenError> LasReader::open(const std::string& path) {
  if (!file_.open(path, ferrun::File::kRead)) return OpenError::kNoFile;
  if (ferrun::readImage(file_, header_) != sizeof(header_)) return OpenError::kNoHeader;
  return std::nullopt;
}

bool LasReader::readBeforePoints(std::int64_t position, std::span<char> bytes) {
  constexpr std::int64_t kMostAhead = 64 << 20;
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (isRegular()) {
    if (position > fileSize() - size) return false;
    if (file_.pos() != position) file_.seek(position);
    return file_.readData(bytes.data(), static_cast<int>(size)) == size;
  }
  const std::int64_t begin = position - std::int64_t{sizeof(LasHeader)};
  if (begin < 0 || begin > kMostAhead - size) return false;
  const auto known = static_cast<std::int64_t>(ahead_.size());
  if (known < begin + size) {
    ahead_.resize(static_cast<std::size_t>(begin + size));
    const auto wanted = static_cast<int>(begin + size - known);
    const int done = file_.readData(ahead_.data() + known, wanted);
    ahead_.resize(static_cast<std::size_t>(known + std::max(done, 0)));
    if (done != wanted) return false;
  }
  std::copy_n(ahead_.begin() + begin, size, bytes.begin());
  return true;
}

bool LasReader::findPoints() {
  const std::int64_t begin = header_.pointDataOffset;
  const bool within = begin >= dataStart_ && (!isRegular() || begin <= fileSize());
  if (!isRegular()) {
    if (!within || !skip(static_cast<std::uint64_t>(begin - dataStart_))) return false;
    dataStart_ = begin;
    return true;
  }
  if (within) dataStart_ = begin;
  if (file_.pos() != dataStart_) file_.seek(dataStart_);
  return within;
}

bool LasReader::readBytesBeforePoints(const std::function<bool(std::span<const char>)>& take) {
  constexpr std::int64_t kPieceSize = 1 << 20;
  const std::int64_t end = header_.pointDataOffset;
  if (isRegular() && file_.pos() != dataStart_) file_.seek(dataStart_);
  if (isRegular() && file_.pos() != dataStart_) return false;
  const std::unique_ptr<char[]> piece(new (std::nothrow) char[kPieceSize]);
  if (!piece) return false;
  while (dataStart_ < end) {
    const auto size = static_cast<int>(std::min(end - dataStart_, kPieceSize));
    if (readNext(piece.get(), size) != size || !take({piece.get(), static_cast<std::size_t>(size)}))
      return false;
    dataStart_ += size;
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

/// Reads the bytes that were read ahead, then those of the file. Returns what readData() returns.
int LasReader::readNext(char* destination, int count) {
  const auto again = static_cast<int>(
      std::min<std::size_t>(ahead_.size() - aheadTaken_, static_cast<std::size_t>(count)));
  if (again == 0) return file_.readData(destination, count);
  std::copy_n(ahead_.begin() + static_cast<std::ptrdiff_t>(aheadTaken_), again, destination);
  aheadTaken_ += static_cast<std::size_t>(again);
  return again + std::max(file_.readData(destination + again, count - again), 0);
}

/// Reads and drops `bytes` bytes; false when the file ends before.
bool LasReader::skip(std::uint64_t bytes) {
  constexpr std::uint64_t kPieceSize = 1U << 20;
  std::vector<char> piece(std::min(bytes, kPieceSize));
  while (bytes > 0) {
    const auto size = static_cast<int>(std::min(bytes, kPieceSize));
    if (readNext(piece.data(), size) != size) return false;
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
  if (!isRegular()) return index >= from && skip((index - from) * sizeof(LasPointRecord));
  const auto bytes = static_cast<std::int64_t>(index * sizeof(LasPointRecord));
  if (bytes > fileSize() - dataStart_) return false;
  if (file_.pos() != dataStart_ + bytes) file_.seek(dataStart_ + bytes);
  return file_.pos() == dataStart_ + bytes;
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
  const int done = readNext(reinterpret_cast<char*>(block_.data()), size);
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

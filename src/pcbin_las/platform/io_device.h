// SPDX-License-Identifier: BSD-3-Clause
// The interface of a device that stores bytes.
#pragma once

#include <cstdint>
#include <string>

#include "pcbin_las/platform/api.h"

namespace ferrun {

/// A sequence of bytes with a current position.
class PCBIN_API IODevice {
 public:
  virtual ~IODevice() = default;

  virtual bool open(const std::string& name, int mode) = 0;
  virtual void close() = 0;

  /// Reads up to `count` bytes at the current position and advances. Returns the number of bytes
  /// read: fewer than `count` at the end of the data, and less than 1 at the end or on error.
  virtual int readData(char* destination, int count) = 0;

  /// Writes `count` bytes at the current position and advances. Returns the number of bytes
  /// written; when that is less than `count`, errno holds the reason.
  virtual int writeData(const char* source, int count) = 0;

  virtual bool isOpen() const = 0;

  /// Writes buffered data to the device.
  virtual void flush() = 0;

  /// The current position in bytes from the start.
  virtual std::int64_t pos() const = 0;

  /// Sets the current position in bytes from the start.
  virtual void seek(std::int64_t position) = 0;

  /// Hint: the block size in bytes of later transfers. Ignored unless a device overrides it.
  virtual void setTransferHint(int blockSize) { (void)blockSize; }

  /// Sets the size in bytes of the write buffer; 0 disables buffering. Call it before open().
  void setWMBuffer(unsigned size) { writeBufferSize_ = size; }

 protected:
  unsigned writeBufferSize_ = 64U << 10;
};

}  // namespace ferrun

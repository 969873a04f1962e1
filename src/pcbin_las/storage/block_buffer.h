// The bytes of one point block while it is being read.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#include "pcbin_las/platform/large_memory.h"

namespace modeling_app {

/// A buffer that grows as data arrives and is kept from frame to frame. What is not touched takes
/// no memory, and growing a large buffer moves pages, not bytes.
class BlockBuffer {
 public:
  /// The buffer, with room for `size` bytes and its contents kept. Throws std::bad_alloc.
  char* withRoom(std::size_t size) {
    if (size > capacity_) grow(size);
    return bytes_.get();
  }

  const char* data() const { return bytes_.get(); }

  void release() {
    bytes_.reset();
    capacity_ = 0;
  }

 private:
  void grow(std::size_t size) {
    const std::size_t doubled = size > 2 * capacity_ ? size : 2 * capacity_;
    const std::size_t capacity = (doubled + kPage - 1) / kPage * kPage;
    auto* const grown = static_cast<char*>(std::realloc(bytes_.get(), capacity));
    if (grown == nullptr) throw std::bad_alloc();
    (void)bytes_.release();  // realloc has taken it
    bytes_.reset(grown);
    capacity_ = capacity;
  }

  static constexpr std::size_t kPage = 4096;

  ferrun::LargeMemory bytes_;
  std::size_t capacity_ = 0;
};

}  // namespace modeling_app

/// A growing sequence of bytes that becomes a CFData without a copy.
#pragma once

#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

#include "../internal.h"

namespace cf {

/// The bytes are in the block of the future object, after the space for its header. Every function
/// that lets the buffer grow throws std::bad_alloc when memory is short.
class DataBuffer {
 public:
  DataBuffer() = default;
  DataBuffer(const DataBuffer&) = delete;
  DataBuffer& operator=(const DataBuffer&) = delete;
  ~DataBuffer();

  void append(std::string_view text) {
    if (!text.empty()) std::memcpy(extend(text.size()), text.data(), text.size());
  }

  void append(std::size_t count, char c) { std::memset(extend(count), c, count); }

  /// Room for `count` more bytes, which count as written; valid until the buffer grows again.
  char* extend(std::size_t count) {
    reserve(count);
    return bytes_ + std::exchange(size_, size_ + count);
  }

  /// Removes the last `count` bytes.
  void shrink(std::size_t count) { size_ -= count; }

  /// Makes room for `count` more bytes.
  void reserve(std::size_t count) {
    if (bytes_ == nullptr || capacity_ - size_ < count)
      set_capacity(std::max(size_ + count, 2 * capacity_));
  }

  /// The bytes as an object; the buffer is empty afterwards.
  Owned<CFDataRef> finish();

 private:
  void set_capacity(std::size_t capacity);

  char* bytes_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace cf

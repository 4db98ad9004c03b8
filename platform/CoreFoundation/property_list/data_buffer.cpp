#include "data_buffer.h"

#include <cstdlib>
#include <new>

#include "../data_object.h"

namespace cf {
namespace {

/// The block that contains `bytes`, which are NULL or follow a header.
void* block_of(char* bytes) { return bytes == nullptr ? nullptr : bytes - sizeof(__CFData); }

}  // namespace

DataBuffer::~DataBuffer() { std::free(block_of(bytes_)); }

void DataBuffer::set_capacity(std::size_t capacity) {
  void* const block = std::realloc(block_of(bytes_), sizeof(__CFData) + capacity);
  if (block == nullptr) throw std::bad_alloc();
  bytes_ = static_cast<char*>(block) + sizeof(__CFData);
  capacity_ = capacity;
}

Owned<CFDataRef> DataBuffer::finish() {
  constexpr std::size_t kSlack = 1024;  // not worth a move
  if (bytes_ == nullptr || capacity_ - size_ > kSlack) set_capacity(size_);
  __CFData* const data = static_cast<__CFData*>(block_of(bytes_));
  data->base = new_base(kData);
  data->length = static_cast<CFIndex>(size_);
  data->bytes = reinterpret_cast<const UInt8*>(bytes_);
  bytes_ = nullptr;
  size_ = capacity_ = 0;
  return Owned<CFDataRef>(data);
}

}  // namespace cf

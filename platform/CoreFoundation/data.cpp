#include <algorithm>
#include <cstring>
#include <span>

#include "data_object.h"

namespace {

std::span<const UInt8> bytes_of(CFTypeRef cf) noexcept {
  const CFDataRef data = static_cast<CFDataRef>(cf);
  return {data->bytes, static_cast<std::size_t>(data->length)};
}

Boolean equal(CFTypeRef a, CFTypeRef b) noexcept {
  const std::span<const UInt8> in_a = bytes_of(a);
  const std::span<const UInt8> in_b = bytes_of(b);
  return in_a.size() == in_b.size() &&
         (in_a.empty() || std::memcmp(in_a.data(), in_b.data(), in_a.size()) == 0);
}

CFHashCode hash(CFTypeRef cf) noexcept {
  // FNV-1a over the first bytes: large blobs rarely differ only after them.
  constexpr std::size_t kHashed = 80;
  const std::span<const UInt8> bytes = bytes_of(cf);
  std::uint64_t hash = 0xcbf29ce484222325 ^ bytes.size();
  for (const UInt8 byte : bytes.first(std::min(bytes.size(), kHashed)))
    hash = (hash ^ byte) * 0x100000001b3;
  return hash;
}

void append_hex(std::string& text, std::span<const UInt8> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const UInt8 byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
}

CFStringRef copy_description(CFTypeRef cf) noexcept {
  constexpr std::size_t kMaxShown = 24;
  constexpr std::size_t kHead = 16;
  constexpr std::size_t kTail = 8;
  const std::span<const UInt8> bytes = bytes_of(cf);
  const std::string length = std::to_string(bytes.size());
  std::string text = cf::description_head(cf, "CFData");
  text += "{length = " + length + ", capacity = " + length + ", bytes = 0x";
  if (bytes.size() <= kMaxShown) {
    append_hex(text, bytes);
  } else {
    append_hex(text, bytes.first(kHead));
    text += " ... ";
    append_hex(text, bytes.last(kTail));
  }
  text += '}';
  return cf::make_cfstring(text).release();
}

}  // namespace

constinit const CFRuntimeClass cf::kDataClass = {
    .className = "CFData",
    .equal = equal,
    .hash = hash,
    .copyDebugDesc = copy_description,
};

CFTypeID CFDataGetTypeID(void) { return cf::kData; }

CFDataRef CFDataCreate(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length) {
  if (length < 0) cf::fatal("CFDataCreate() called with a negative length");
  const std::size_t size = static_cast<std::size_t>(length);
  __CFData* const data = cf::create<__CFData>(alloc, cf::kData, size);
  if (data == nullptr) return nullptr;
  data->length = length;
  data->bytes = reinterpret_cast<const UInt8*>(data + 1);
  if (length != 0) std::memcpy(data + 1, bytes, size);
  return data;
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef bytes_deallocator) {
  if (length < 0) cf::fatal("CFDataCreateWithBytesNoCopy() called with a negative length");
  if (bytes_deallocator != kCFAllocatorNull) return nullptr;
  __CFData* const data = cf::create<__CFData>(alloc, cf::kData);
  if (data == nullptr) return nullptr;
  data->length = length;
  data->bytes = bytes;
  return data;
}

CFIndex CFDataGetLength(CFDataRef data) { return data->length; }
const UInt8* CFDataGetBytePtr(CFDataRef data) { return data->bytes; }

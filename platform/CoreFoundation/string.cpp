#include <CoreFoundation/CFString.h>
#include <sys/random.h>

#include <atomic>
#include <cstring>
#include <limits>

#include "string_object.h"
#include "utf8.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

struct Seed {
  std::uint64_t start;
  std::uint64_t factor;
};

Seed random_seed() noexcept {
  Seed seed;
  if (getrandom(&seed, sizeof seed, 0) != sizeof seed) cf::fatal("no random numbers");
  seed.factor |= 1;
  return seed;
}

/// The exclusive or of the product's two halves.
std::uint64_t fold(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const Wide product = Wide{a} * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

constexpr std::size_t kLongest = std::numeric_limits<std::uint32_t>::max();

__CFString* create_copy(CFAllocatorRef allocator, std::string_view text) noexcept {
  __CFString* const string = cf::create_string(allocator, text.size(), cf::utf16_length(text));
  if (string != nullptr) text.copy(string->text(), text.size());
  return string;
}

bool is_valid(std::string_view text, CFStringEncoding encoding) noexcept {
  switch (encoding) {
    case kCFStringEncodingASCII:
      return cf::ascii_prefix(text) == text.size();
    case kCFStringEncodingUTF8:
      return cf::is_valid_utf8(text);
    default:
      return false;
  }
}

Boolean equal(CFTypeRef a, CFTypeRef b) noexcept {
  return cf::utf8(static_cast<CFStringRef>(a)) == cf::utf8(static_cast<CFStringRef>(b));
}

CFHashCode hash(CFTypeRef cf) noexcept {
  __CFString* const string = const_cast<__CFString*>(static_cast<CFStringRef>(cf));
  const std::atomic_ref<std::uintptr_t> cache(string->base._cfisa);
  std::uintptr_t hash = cache.load(std::memory_order_relaxed);
  if (hash == 0) {
    hash = cf::hash_text(cf::utf8(string));
    cache.store(hash, std::memory_order_relaxed);
  }
  return hash;
}

CFStringRef copy_contents(CFTypeRef cf, const void* /*format_options*/) noexcept {
  return static_cast<CFStringRef>(CFRetain(cf));
}

CFStringRef copy_description(CFTypeRef cf) noexcept {
  std::string text = cf::description_head(cf, "CFString");
  text.append("{contents = \"").append(cf::utf8(static_cast<CFStringRef>(cf))).append("\"}");
  return cf::make_cfstring(text).release();
}

}  // namespace

constinit const CFRuntimeClass cf::kStringClass = {
    .className = "CFString",
    .equal = equal,
    .hash = hash,
    .copyFormattingDesc = copy_contents,
    .copyDebugDesc = copy_description,
};

std::string_view cf::utf8(CFStringRef string) noexcept {
  return {reinterpret_cast<const char*>(string + 1), string->size};
}

cf::Owned<CFStringRef> cf::make_cfstring(std::string_view valid_utf8) noexcept {
  return Owned<CFStringRef>(create_copy(kCFAllocatorDefault, valid_utf8));
}

__CFString* cf::create_string(CFAllocatorRef allocator, std::size_t size,
                              std::size_t length) noexcept {
  if (size > kLongest) return nullptr;
  __CFString* const string = create<__CFString>(allocator, kString, size);
  if (string == nullptr) return nullptr;
  string->size = static_cast<std::uint32_t>(size);
  string->length = static_cast<std::uint32_t>(length);
  return string;
}

CFStringRef cf::immortal_string(std::string_view valid_utf8) noexcept {
  __CFString* const string = create_copy(kCFAllocatorDefault, valid_utf8);
  if (string != nullptr) string->base = immortal_base(kString);
  return string;
}

std::uint64_t cf::hash_text(std::string_view text) noexcept {
  static const Seed seed = random_seed();
  std::uint64_t hash = seed.start ^ text.size();
  std::uint64_t word;
  for (; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
    std::memcpy(&word, text.data(), sizeof word);
    hash = fold(hash ^ word, seed.factor);
  }
  word = 0;
  if (!text.empty()) std::memcpy(&word, text.data(), text.size());
  hash = fold(hash ^ word, seed.factor);
  return hash == 0 ? 1 : hash;
}

CFTypeID CFStringGetTypeID(void) { return cf::kString; }

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* c_str,
                                      CFStringEncoding encoding) {
  return CFStringCreateWithBytes(alloc, reinterpret_cast<const UInt8*>(c_str),
                                 static_cast<CFIndex>(std::strlen(c_str)), encoding,
                                 /*is_external_representation=*/false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex num_bytes,
                                    CFStringEncoding encoding, Boolean is_external_representation) {
  if (num_bytes < 0) return nullptr;
  std::string_view text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(num_bytes));
  if (is_external_representation && encoding == kCFStringEncodingUTF8 &&
      text.starts_with(kByteOrderMark))
    text.remove_prefix(kByteOrderMark.size());
  if (!is_valid(text, encoding)) return nullptr;
  const CFStringRef string = create_copy(alloc, text);
  if (string == nullptr && alloc != kCFAllocatorNull && text.size() <= kLongest)
    cf::fatal("no memory for a string");  // NULL would mean a text that isn't valid
  return string;
}

CFIndex CFStringGetLength(CFStringRef string) { return string->length; }

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex buffer_size,
                           CFStringEncoding encoding) {
  if (buffer_size <= 0) return false;
  const std::string_view text = cf::utf8(string);
  if (text.size() >= static_cast<std::size_t>(buffer_size) || !is_valid(text, encoding)) {
    buffer[0] = '\0';
    return false;
  }
  buffer[text.copy(buffer, text.size())] = '\0';
  return true;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  const CFIndex bytes_per_unit = encoding == kCFStringEncodingASCII ? 1 : 3;
  if (length > std::numeric_limits<CFIndex>::max() / bytes_per_unit) return kCFNotFound;
  return length * bytes_per_unit;
}

CFRange CFStringFind(CFStringRef string, CFStringRef string_to_find,
                     CFStringCompareFlags /*options*/) {
  const std::string_view text = cf::utf8(string);
  const std::string_view wanted = cf::utf8(string_to_find);
  const std::size_t at = wanted.empty() ? std::string_view::npos : text.find(wanted);
  if (at == std::string_view::npos) return {kCFNotFound, 0};
  return {static_cast<CFIndex>(cf::utf16_length(text.substr(0, at))), string_to_find->length};
}

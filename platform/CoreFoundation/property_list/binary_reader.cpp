#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "../string_object.h"
#include "../utf8.h"
#include "property_list.h"
#include "utf16.h"
#include "value_stack.h"

// The format: "bplist00"; the objects, each a marker byte (its kind and a length) and a body, in
// which containers name their elements by number; a table of the objects' offsets; a trailer of 32
// bytes, the last 26 of which are the size of an offset, the size of an object number, the number
// of objects, that of the top one and the table's offset. All numbers are big-endian.

namespace cf {
namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;
constexpr std::uint64_t kSharingAllowance = 65536;  // elements

[[noreturn]] void fail(const char* why) { throw PropertyListError(why); }

std::uint64_t big_endian(std::string_view bytes) {
  std::uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<unsigned char>(byte);
  return value;
}

/// The rest of one object's bytes.
class Body {
 public:
  explicit Body(std::string_view bytes) : bytes_(bytes) {}

  std::string_view take(std::uint64_t count, std::size_t size = 1) {
    if (count > bytes_.size() / size) fail("Object past the end of the binary property list");
    const std::string_view taken = bytes_.substr(0, count * size);
    bytes_.remove_prefix(taken.size());
    return taken;
  }

  std::size_t size() const { return bytes_.size(); }

  unsigned char take_byte() { return static_cast<unsigned char>(take(1)[0]); }

  /// The length: the low half of a marker, or the integer object after the marker.
  std::uint64_t take_length(unsigned low) {
    if (low != 0xf) return low;
    const unsigned marker = take_byte();
    if (marker < 0x10 || marker > 0x13) fail("Bad length in binary property list");
    return big_endian(take(std::uint64_t{1} << (marker & 0xf)));
  }

 private:
  std::string_view bytes_;
};

class BinaryReader {
 public:
  explicit BinaryReader(std::string_view bytes);
  BinaryReader(const BinaryReader&) = delete;
  BinaryReader& operator=(const BinaryReader&) = delete;
  ~BinaryReader();

  Owned<CFTypeRef> read();

 private:
  void push_object(std::uint64_t number, std::size_t depth);
  void push_container(unsigned marker, Body& body, std::size_t depth);
  /// The element whose object number is at `index` in `numbers`.
  void push_element(std::string_view numbers, std::size_t index, std::size_t depth);

  std::string_view bytes_;
  std::size_t table_ = 0;
  std::size_t offset_size_ = 0;
  std::size_t number_size_ = 0;
  std::uint64_t top_ = 0;
  // By object number; NULL until it is read, and for containers with elements.
  std::vector<CFTypeRef> leaves_;
  ValueStack values_;
  // The number of elements that containers may still have. If a list refers to each container once,
  // the limit is the list's length. A list that refers to containers repeatedly could grow
  // exponentially. Writers do share equal containers, which can exceed the length of a small list:
  // hence the allowance.
  std::uint64_t elements_left_;
  // The number of bytes that leaves may still have: enough, unless many objects overlap.
  std::uint64_t leaf_bytes_left_;
};

BinaryReader::BinaryReader(std::string_view bytes)
    : bytes_(bytes),
      elements_left_(bytes.size() + kSharingAllowance),
      leaf_bytes_left_(bytes.size()) {
  if (bytes.size() < kHeaderSize + kTrailerSize) fail("Binary property list too short");
  const std::size_t trailer = bytes.size() - kTrailerSize;
  offset_size_ = static_cast<unsigned char>(bytes[trailer + 6]);
  number_size_ = static_cast<unsigned char>(bytes[trailer + 7]);
  const std::uint64_t count = big_endian(bytes.substr(trailer + 8, 8));
  top_ = big_endian(bytes.substr(trailer + 16, 8));
  const std::uint64_t table = big_endian(bytes.substr(trailer + 24, 8));
  if (offset_size_ < 1 || offset_size_ > 8 || number_size_ < 1 || number_size_ > 8 ||
      table < kHeaderSize || table > trailer || count > (trailer - table) / offset_size_)
    fail("Bad trailer of binary property list");
  table_ = table;
  leaves_.resize(count);
}

BinaryReader::~BinaryReader() {
  for (const CFTypeRef leaf : leaves_)
    if (leaf != nullptr) release_private(leaf);
}

Owned<CFTypeRef> BinaryReader::read() {
  push_object(top_, /*depth=*/0);
  return values_.pop();
}

Owned<CFTypeRef> make_integer(std::string_view bytes) {
  const std::uint64_t value =
      big_endian(bytes.substr(bytes.size() - std::min<std::size_t>(bytes.size(), 8)));
  const std::int64_t as_signed = static_cast<std::int64_t>(value);
  if (bytes.size() == 16) {
    const std::uint64_t high = big_endian(bytes.substr(0, 8));
    if (high != 0 && !(high == ~std::uint64_t{0} && as_signed < 0)) fail("Integer out of range");
    if (high == 0) return make_number(value);
  }
  return Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &as_signed));
}

Owned<CFTypeRef> make_real(std::string_view bytes) {
  if (bytes.size() == sizeof(float)) {
    const float value = std::bit_cast<float>(static_cast<std::uint32_t>(big_endian(bytes)));
    return Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat32Type, &value));
  }
  const double value = std::bit_cast<double>(big_endian(bytes));
  return Owned<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &value));
}

Owned<CFTypeRef> make_utf16_string(std::string_view bytes) {
  constexpr ByteOrder kOrder = ByteOrder::kBigEndian;
  __CFString* const string =
      create_string(kCFAllocatorDefault, utf8_size(bytes, kOrder), bytes.size() / 2);
  Owned<CFTypeRef> result(string);
  if (string != nullptr && !write_utf8(bytes, kOrder, string->text())) fail("Bad UTF-16 string");
  return result;
}

Owned<CFTypeRef> make_ascii_string(std::string_view bytes) {
  if (ascii_prefix(bytes) != bytes.size()) fail("Bad ASCII string");
  __CFString* const string = create_string(kCFAllocatorDefault, bytes.size(), bytes.size());
  if (string != nullptr) bytes.copy(string->text(), bytes.size());
  return Owned<CFTypeRef>(string);
}

Owned<CFTypeRef> make_leaf(unsigned marker, Body& body) {
  switch (marker) {
    case 0x00:
      return Owned<CFTypeRef>(kCFNull);
    case 0x08:
      return Owned<CFTypeRef>(kCFBooleanFalse);
    case 0x09:
      return Owned<CFTypeRef>(kCFBooleanTrue);
    case 0x22:
      return make_real(body.take(4));
    case 0x23:
      return make_real(body.take(8));
    case 0x33:
      return Owned<CFTypeRef>(
          CFDateCreate(kCFAllocatorDefault, std::bit_cast<double>(big_endian(body.take(8)))));
    default:
      break;
  }
  const unsigned low = marker & 0xf;
  switch (marker >> 4) {
    case 0x1:
      if (low > 4) fail("Bad integer in binary property list");
      return make_integer(body.take(std::uint64_t{1} << low));
    case 0x4: {
      const std::string_view bytes = body.take(body.take_length(low));
      return Owned<CFTypeRef>(CFDataCreate(kCFAllocatorDefault,
                                           reinterpret_cast<const UInt8*>(bytes.data()),
                                           static_cast<CFIndex>(bytes.size())));
    }
    case 0x5:
      return make_ascii_string(body.take(body.take_length(low)));
    case 0x6:
      return make_utf16_string(body.take(body.take_length(low), 2));
    default:
      fail("Unknown object in binary property list");
  }
}

/// Recurses into containers. kMaxNesting also ends the recursion of containers that hold
/// themselves.
void BinaryReader::push_object(std::uint64_t number, std::size_t depth) {
  if (number >= leaves_.size()) fail("Object number out of range");
  if (leaves_[number] != nullptr) {
    values_.push(Owned<CFTypeRef>(retain_private(leaves_[number])));
    return;
  }
  const std::uint64_t offset =
      big_endian(bytes_.substr(table_ + number * offset_size_, offset_size_));
  if (offset < kHeaderSize || offset >= table_) fail("Object offset out of range");
  Body body(bytes_.substr(offset, table_ - offset));
  const unsigned marker = body.take_byte();
  if (marker >> 4 == 0xa || marker >> 4 == 0xd) {
    push_container(marker, body, depth);
  } else {
    values_.push(make_leaf(marker, body));
    const std::size_t size = table_ - offset - body.size();
    if (size > leaf_bytes_left_) fail("Objects in the same place of binary property list");
    leaf_bytes_left_ -= size;
    leaves_[number] = retain_private(values_.top());
  }
}

void BinaryReader::push_container(unsigned marker, Body& body, std::size_t depth) {
  if (depth == kMaxNesting) fail("Too many nested arrays or dictionaries");
  const std::uint64_t count = body.take_length(marker & 0xf);
  const std::string_view numbers = body.take(count, number_size_);
  const std::size_t first = values_.size();
  if (marker >> 4 == 0xa) {
    values_.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) push_element(numbers, i, depth);
    values_.fold_into_array(first);
    return;
  }
  const std::string_view value_numbers = body.take(count, number_size_);
  values_.reserve(2 * count);
  for (std::uint64_t i = 0; i < count; ++i) {
    push_element(numbers, i, depth);
    if (CFGetTypeID(values_.top()) != kString) fail("Dictionary key that is no string");
    push_element(value_numbers, i, depth);
  }
  values_.fold_into_dictionary(first);
}

void BinaryReader::push_element(std::string_view numbers, std::size_t index, std::size_t depth) {
  if (elements_left_-- == 0) fail("Containers used over and over in binary property list");
  push_object(big_endian(numbers.substr(index * number_size_, number_size_)), depth + 1);
}

}  // namespace

Owned<CFTypeRef> read_binary(std::string_view bytes) { return BinaryReader(bytes).read(); }

}  // namespace cf

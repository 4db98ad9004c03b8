#include <CoreFoundation/CFNumber.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

#include "object.h"

/// The flags contain the type: one of the six with a size in their name, or kUnsigned64. For a
/// Float32, `real` has the same value.
struct __CFNumber {
  CFRuntimeBase base;
  union {
    std::int64_t integer;
    double real;
  };
};

namespace {

/// An integer beyond SInt64's range, whose public type is SInt64.
constexpr cf::Flags kUnsigned64 = 17;

/// Such small integers are shared constants, whatever their type is.
constexpr std::int64_t kFirstShared = -1;
constexpr std::int64_t kLastShared = 12;

constexpr std::array<__CFNumber, kLastShared - kFirstShared + 1> make_shared_integers() {
  std::array<__CFNumber, kLastShared - kFirstShared + 1> numbers{};
  std::int64_t value = kFirstShared;
  for (__CFNumber& number : numbers)
    number = {cf::immortal_base(cf::kNumber, kCFNumberSInt32Type), {.integer = value++}};
  return numbers;
}

constexpr __CFNumber constant_real(double value) {
  return {cf::immortal_base(cf::kNumber, kCFNumberFloat64Type), {.real = value}};
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constinit const std::array shared_integers = make_shared_integers();
constinit const __CFNumber nan_number = constant_real(std::numeric_limits<double>::quiet_NaN());
constinit const __CFNumber negative_infinity = constant_real(-kInfinity);
constinit const __CFNumber positive_infinity = constant_real(kInfinity);

CFNumberRef to_number(CFTypeRef cf) noexcept { return static_cast<CFNumberRef>(cf); }

bool is_real(CFNumberRef number) noexcept {
  const cf::Flags type = cf::flags_of(number->base);
  return type == kCFNumberFloat32Type || type == kCFNumberFloat64Type;
}

/// The type with a size in its name that `type` is equal to on this machine; 0 for an unknown one.
CFIndex sized_type(CFNumberType type) noexcept {
  switch (type) {
    case kCFNumberCharType:
      return kCFNumberSInt8Type;
    case kCFNumberShortType:
      return kCFNumberSInt16Type;
    case kCFNumberIntType:
      return kCFNumberSInt32Type;
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return kCFNumberSInt64Type;
    case kCFNumberFloatType:
      return kCFNumberFloat32Type;
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return kCFNumberFloat64Type;
    default:
      return type >= kCFNumberSInt8Type && type <= kCFNumberFloat64Type ? CFIndex{type} : 0;
  }
}

CFNumberRef create_integer(CFAllocatorRef allocator, CFIndex type, std::int64_t value) noexcept {
  if (type != kUnsigned64 && value >= kFirstShared && value <= kLastShared)
    return &shared_integers[static_cast<std::size_t>(value - kFirstShared)];
  __CFNumber* const number =
      cf::create<__CFNumber>(allocator, cf::kNumber, /*trailing=*/0, static_cast<cf::Flags>(type));
  if (number != nullptr) number->integer = value;
  return number;
}

CFNumberRef create_real(CFAllocatorRef allocator, CFIndex type, double value) noexcept {
  __CFNumber* const number =
      cf::create<__CFNumber>(allocator, cf::kNumber, /*trailing=*/0, static_cast<cf::Flags>(type));
  if (number != nullptr) number->real = value;
  return number;
}

template <typename T>
T load(const void* from) noexcept {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <typename T>
void store(T value, void* to) noexcept {
  std::memcpy(to, &value, sizeof value);
}

template <typename Integer>
constexpr double kPastEnd = 2.0 * (std::numeric_limits<Integer>::max() / 2 + 1);

/// Whether `value` is exactly the integer `integer`.
template <typename Integer>
bool is_exactly(double value, Integer integer) noexcept {
  constexpr double kFirst = static_cast<double>(std::numeric_limits<Integer>::min());
  return value >= kFirst && value < kPastEnd<Integer> && static_cast<Integer>(value) == integer &&
         std::trunc(value) == value;
}

/// Rounds toward 0; a value out of range becomes the nearest end of the range.
std::int64_t truncated(double value) noexcept {
  if (std::isnan(value)) return 0;
  if (value < -kPastEnd<std::int64_t>) return std::numeric_limits<std::int64_t>::min();
  if (value >= kPastEnd<std::int64_t>) return std::numeric_limits<std::int64_t>::max();
  return static_cast<std::int64_t>(value);
}

template <typename T>
bool store_integer(CFNumberRef number, void* to) noexcept {
  using Limits = std::numeric_limits<T>;
  const std::int64_t value = is_real(number) ? truncated(number->real) : number->integer;
  store(static_cast<T>(value), to);
  if (cf::is_unsigned64(number)) return false;
  if (is_real(number)) return static_cast<T>(value) == value && is_exactly(number->real, value);
  // Bytes and shorts also accept unsigned values, by their bits; the wider types don't.
  constexpr std::int64_t kLast =
      sizeof(T) <= 2 ? 2 * std::int64_t{Limits::max()} + 1 : Limits::max();
  return value >= Limits::min() && value <= kLast;
}

template <typename T>
bool store_real(CFNumberRef number, void* to) noexcept {
  if (is_real(number)) {
    const T value = static_cast<T>(number->real);
    store(value, to);
    return value == number->real || std::isnan(number->real);
  }
  if (cf::is_unsigned64(number)) {
    const std::uint64_t integer = static_cast<std::uint64_t>(number->integer);
    const T value = static_cast<T>(integer);
    store(value, to);
    return is_exactly(value, integer);
  }
  const T value = static_cast<T>(number->integer);
  store(value, to);
  return is_exactly(value, number->integer);
}

Boolean equal(CFTypeRef cf1, CFTypeRef cf2) noexcept {
  CFNumberRef a = to_number(cf1);
  CFNumberRef b = to_number(cf2);
  if (is_real(a) && is_real(b))
    return a->real == b->real || (std::isnan(a->real) && std::isnan(b->real));
  if (is_real(a)) std::swap(a, b);
  if (is_real(b)) {
    return cf::is_unsigned64(a) ? is_exactly(b->real, static_cast<std::uint64_t>(a->integer))
                                : is_exactly(b->real, a->integer);
  }
  return a->integer == b->integer && cf::is_unsigned64(a) == cf::is_unsigned64(b);
}

CFHashCode hash(CFTypeRef cf) noexcept {
  const CFNumberRef number = to_number(cf);
  if (!is_real(number)) return cf::scramble(static_cast<std::uint64_t>(number->integer));
  const double value = number->real;
  if (std::isnan(value)) return cf::scramble(std::bit_cast<std::uint64_t>(nan_number.real));
  // A whole number has the hash of the integer that it is equal to.
  if (const std::int64_t integer = truncated(value); is_exactly(value, integer))
    return cf::scramble(static_cast<std::uint64_t>(integer));
  if (value > 0 && value < kPastEnd<std::uint64_t> && std::trunc(value) == value)
    return cf::scramble(static_cast<std::uint64_t>(value));
  return cf::scramble(std::bit_cast<std::uint64_t>(value));
}

const char* type_name(cf::Flags type) noexcept {
  switch (type) {
    case kCFNumberSInt8Type:
      return "kCFNumberSInt8Type";
    case kCFNumberSInt16Type:
      return "kCFNumberSInt16Type";
    case kCFNumberSInt32Type:
      return "kCFNumberSInt32Type";
    case kCFNumberSInt64Type:
      return "kCFNumberSInt64Type";
    case kCFNumberFloat32Type:
      return "kCFNumberFloat32Type";
    case kCFNumberFloat64Type:
      return "kCFNumberFloat64Type";
    default:
      return "kCFNumberSInt128Type";
  }
}

/// The number with its sign, reals in fixed notation.
std::string signed_text(CFNumberRef number) {
  constexpr int kDigits = 20;
  constexpr int kFloatDigits = 10;
  char buffer[std::numeric_limits<double>::max_exponent10 + kDigits + 8];
  if (is_real(number) && std::isfinite(number->real)) {
    const bool is_float = cf::flags_of(number->base) == kCFNumberFloat32Type;
    std::snprintf(buffer, sizeof buffer, "%+.*f", is_float ? kFloatDigits : kDigits, number->real);
    return buffer;
  }
  char text_buffer[32];
  const std::string text(cf::number_text(number, text_buffer));
  return is_real(number) || text.starts_with('-') ? text : '+' + text;
}

CFStringRef copy_number_text(CFTypeRef cf, const void* /*format_options*/) noexcept {
  char buffer[32];
  return cf::make_cfstring(cf::number_text(to_number(cf), buffer)).release();
}

CFStringRef copy_description(CFTypeRef cf) noexcept {
  const CFNumberRef number = to_number(cf);
  return cf::make_cfstring(cf::description_head(cf, "CFNumber") +
                           "{value = " + signed_text(number) +
                           ", type = " + type_name(cf::flags_of(number->base)) + '}')
      .release();
}

}  // namespace

constinit const CFRuntimeClass cf::kNumberClass = {
    .className = "CFNumber",
    .equal = equal,
    .hash = hash,
    .copyFormattingDesc = copy_number_text,
    .copyDebugDesc = copy_description,
};

constinit const CFNumberRef kCFNumberNaN = &nan_number;
constinit const CFNumberRef kCFNumberNegativeInfinity = &negative_infinity;
constinit const CFNumberRef kCFNumberPositiveInfinity = &positive_infinity;

cf::Owned<CFNumberRef> cf::make_number(std::uint64_t value) noexcept {
  const bool fits = std::in_range<std::int64_t>(value);
  return Owned<CFNumberRef>(create_integer(kCFAllocatorDefault,
                                           fits ? CFIndex{kCFNumberSInt64Type} : kUnsigned64,
                                           static_cast<std::int64_t>(value)));
}

bool cf::is_unsigned64(CFNumberRef number) noexcept {
  return flags_of(number->base) == kUnsigned64;
}

std::string_view cf::number_text(CFNumberRef number, std::span<char, 32> buffer) noexcept {
  if (is_real(number)) {
    const double value = number->real;
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-infinity" : "+infinity";
    if (value == 0) return "0.0";
    const int size = std::snprintf(buffer.data(), buffer.size(), "%.17g", value);
    return {buffer.data(), static_cast<std::size_t>(size)};
  }
  char* const end = buffer.data() + buffer.size();
  const std::to_chars_result result =
      is_unsigned64(number)
          ? std::to_chars(buffer.data(), end, static_cast<std::uint64_t>(number->integer))
          : std::to_chars(buffer.data(), end, number->integer);
  return {buffer.data(), static_cast<std::size_t>(result.ptr - buffer.data())};
}

CFTypeID CFNumberGetTypeID(void) { return cf::kNumber; }

CFNumberRef CFNumberCreate(CFAllocatorRef alloc, CFNumberType type, const void* value_ptr) {
  const CFIndex sized = sized_type(type);
  switch (sized) {
    case kCFNumberSInt8Type:
      return create_integer(alloc, sized, load<SInt8>(value_ptr));
    case kCFNumberSInt16Type:
      return create_integer(alloc, sized, load<SInt16>(value_ptr));
    case kCFNumberSInt32Type:
      return create_integer(alloc, sized, load<SInt32>(value_ptr));
    case kCFNumberSInt64Type:
      return create_integer(alloc, sized, load<SInt64>(value_ptr));
    case kCFNumberFloat32Type:
      return create_real(alloc, sized, load<Float32>(value_ptr));
    case kCFNumberFloat64Type:
      return create_real(alloc, sized, load<Float64>(value_ptr));
    default:
      return nullptr;
  }
}

Boolean CFNumberIsFloatType(CFNumberRef number) { return is_real(number); }

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value_ptr) {
  switch (sized_type(type)) {
    case kCFNumberSInt8Type:
      return store_integer<SInt8>(number, value_ptr);
    case kCFNumberSInt16Type:
      return store_integer<SInt16>(number, value_ptr);
    case kCFNumberSInt32Type:
      return store_integer<SInt32>(number, value_ptr);
    case kCFNumberSInt64Type:
      return store_integer<SInt64>(number, value_ptr);
    case kCFNumberFloat32Type:
      return store_real<Float32>(number, value_ptr);
    case kCFNumberFloat64Type:
      return store_real<Float64>(number, value_ptr);
    default:
      return false;
  }
}

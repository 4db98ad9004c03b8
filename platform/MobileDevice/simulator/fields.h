/// Strict reading of a property list: an unexpected value is a Failure that names its place.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "../cf_values.h"
#include "timeline.h"

namespace MobileDevice::simulator {

/// Decimal, with an optional minus, or hexadecimal after "0x".
std::optional<std::int64_t> parse_integer(std::string_view text);

/// The value of a CFNumber if it is an integer in the type's range; nullopt for any other value.
std::optional<std::int64_t> integer_in(CFTypeRef value);
std::optional<std::uint64_t> unsigned_integer_in(CFTypeRef value);

/// A value and its place in the file.
struct Field {
  CFTypeRef value;  // borrowed; NULL if the key is missing
  std::string file;
  std::string path;  // as in "Devices[3].ECID"; empty at the top
  /// In an OpenStep file, numbers and booleans are written as text too.
  bool all_text;

  /// @throws Failure  `what` was expected here.
  [[noreturn]] void expected(const std::string& what) const;
  /// A field below this one.
  Field at(CFTypeRef below, const std::string& step) const;

  /// Each throws Failure if the value is missing or has another type.
  std::string text() const;
  bool boolean() const;
  std::int64_t integer(std::int64_t low, std::int64_t high) const;
  Seconds seconds() const;
  CFDictionaryRef dictionary() const;
  std::vector<Field> elements() const;
};

/// The entries of a dictionary, which are taken one by one.
class Fields {
 public:
  /// @throws Failure  `field` is no dictionary.
  explicit Fields(const Field& field);

  /// A missing key gives a field without a value.
  Field take(const std::string& key);
  std::optional<Field> take_if_present(const std::string& key);
  /// All entries that were not taken.
  const std::map<std::string, Field>& rest() const { return rest_; }
  /// @throws Failure  an entry was not taken: its key is unknown.
  void finish() const;

 private:
  Field below(const std::string& key, CFTypeRef value) const;

  Field field_;
  std::map<std::string, Field> rest_;
  std::vector<std::string> known_;
};

}  // namespace MobileDevice::simulator

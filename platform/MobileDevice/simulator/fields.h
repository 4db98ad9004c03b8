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
  /// `what` names the number in the error.
  double number(const char* what, double low, double high) const;
  Seconds seconds() const;
  CFDictionaryRef dictionary() const;
  std::vector<Field> elements() const;
};

/// The entries of a dictionary.
class Fields {
 public:
  /// @throws Failure  `field` isn't a dictionary.
  explicit Fields(const Field& field);
  /// Checks the keys before any value: a misspelt key is an unknown one rather than a missing one.
  /// @throws Failure  as above, or a key isn't in `known`.
  Fields(const Field& field, const std::vector<std::string>& known);

  /// A missing key gives a field without a value.
  Field get(const std::string& key) const;
  std::optional<Field> get_if_present(const std::string& key) const;
  const std::map<std::string, Field>& all() const { return fields_; }

 private:
  Field below(const std::string& key, CFTypeRef value) const;

  Field field_;
  std::map<std::string, Field> fields_;
};

}  // namespace MobileDevice::simulator

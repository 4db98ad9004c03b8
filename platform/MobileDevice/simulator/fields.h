/// Strict reading of a property list: whatever isn't as expected is a Failure that names the place.
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

/// Decimal, with or without a minus, or hexadecimal behind "0x".
std::optional<std::int64_t> parse_integer(std::string_view text);

/// What a CFNumber holds if that is an integer of the type's range; nullopt for any other value.
std::optional<std::int64_t> integer_in(CFTypeRef value);
std::optional<std::uint64_t> unsigned_integer_in(CFTypeRef value);

/// A value and where it stands.
struct Field {
  CFTypeRef value;  // borrowed; NULL: the key is missing
  std::string file;
  std::string path;  // as in "Devices[3].ECID"; empty at the top
  /// In an OpenStep file, numbers and booleans are written as text too.
  bool all_text;

  /// @throws Failure  `what` was expected here.
  [[noreturn]] void expected(const std::string& what) const;
  /// A field below this one.
  Field at(CFTypeRef below, const std::string& step) const;

  /// Each throws Failure if the value is missing or not of the kind.
  std::string text() const;
  bool boolean() const;
  std::int64_t integer(std::int64_t low, std::int64_t high) const;
  Seconds seconds() const;
  CFDictionaryRef dictionary() const;
  std::vector<Field> elements() const;
};

/// The entries of a dictionary, to be taken one by one.
class Fields {
 public:
  /// @throws Failure  `field` is no dictionary.
  explicit Fields(const Field& field);

  /// A key that isn't there gives a field without a value.
  Field take(const std::string& key);
  std::optional<Field> take_if_present(const std::string& key);
  /// All that were not taken.
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

#pragma once

#include <fmt/format.h>

#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "support/ecid.h"

namespace TY {

/// The name of a device: any text.
class device_id {
 public:
  explicit device_id(std::string data) : data(std::move(data)) {}

  std::string get_data() const { return data; }

  friend bool operator==(const device_id&, const device_id&) = default;
  friend bool operator<(const device_id& a, const device_id& b) { return a.data < b.data; }

 private:
  friend std::hash<device_id>;
  friend fmt::formatter<device_id>;

  std::string data;
};

/// The name of the device with that ECID: the ECID's canonical text.
device_id make_device_id(const ecid& ecid);

std::ostream& operator<<(std::ostream& stream, const device_id& id);

}  // namespace TY

template <>
struct std::hash<TY::device_id> {
  std::size_t operator()(const TY::device_id& id) const noexcept {
    return std::hash<std::string_view>()(id.data);
  }
};

template <>
struct fmt::formatter<TY::device_id> : fmt::formatter<std::string_view> {
  template <typename Context>
  auto format(const TY::device_id& id, Context& context) const {
    return fmt::formatter<std::string_view>::format(id.data, context);
  }
};

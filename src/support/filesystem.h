#pragma once

#include <string>
#include <utility>

namespace TY::filesystem {

/// A path in the system's native form. A plain text: no operation accesses the disk.
class path {
 public:
  path() = default;
  explicit path(std::string native) : native_(std::move(native)) {}

  const std::string& native() const { return native_; }
  bool empty() const { return native_.empty(); }

  /// Joins by Boost.Filesystem's version-4 rules: one separator where needed; an absolute `right`
  /// replaces the left side.
  path operator/(const std::string& right) const;
  path operator/(const char* right) const { return *this / std::string(right); }

 private:
  std::string native_;
};

}  // namespace TY::filesystem

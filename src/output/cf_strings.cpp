#include "output/cf_strings.h"

#include <vector>

#include "support/cf_type_deleter.h"

namespace korvrestore {

std::optional<std::string> make_string(CFStringRef string) {
  if (string == nullptr) return std::nullopt;
  const CFIndex largest_size =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8);
  std::vector<char> buffer(static_cast<std::size_t>(largest_size) + 1);
  if (!CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()),
                          kCFStringEncodingUTF8))
    return std::nullopt;
  return std::string(buffer.data());
}

std::optional<std::string> take_string(CFStringRef owned) {
  return make_string(cf_string(owned).get());
}

std::string MakeString(CFStringRef string) { return make_string(string).value_or(std::string()); }

std::string MakeDescription(const void* object) {
  if (object == nullptr) return "(null)";
  const cf_string description(CFCopyDescription(object));
  return description ? MakeString(description.get()) : "(null)";
}

}  // namespace korvrestore

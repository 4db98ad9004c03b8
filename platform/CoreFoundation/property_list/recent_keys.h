/// Shares the strings of dictionary keys.
#pragma once

#include <array>
#include <string_view>

#include "../string_object.h"

namespace cf {

/// Most dictionaries of a list have the same few keys, so equal keys are often one object.
class RecentKeys {
 public:
  /// A string of this text, maybe one that was returned before; NULL when memory is short.
  Owned<CFTypeRef> make(std::string_view valid_utf8) {
    Owned<CFStringRef>& recent = keys_[hash_text(valid_utf8) % keys_.size()];
    if (recent == nullptr || utf8(recent.get()) != valid_utf8) recent = make_cfstring(valid_utf8);
    return Owned<CFTypeRef>(recent == nullptr ? nullptr : CFRetain(recent.get()));
  }

 private:
  std::array<Owned<CFStringRef>, 128> keys_;
};

}  // namespace cf

/// Owns references to CoreFoundation objects, over any CoreFoundation: for platform/, fuzz/ and
/// bench/.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace cf {

struct Releaser {
  void operator()(CFTypeRef cf) const noexcept { CFRelease(cf); }
};

/// One owned reference: `Owned<CFStringRef>`.
template <typename Ref>
using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, Releaser>;

}  // namespace cf

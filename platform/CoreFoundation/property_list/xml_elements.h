/// The elements of XML property lists, for both of its readers.
#pragma once

#include <optional>
#include <string_view>

#include "recent_keys.h"

namespace cf {

enum class Element {
  kPlist,
  kDict,
  kArray,
  kKey,
  kString,
  kInteger,
  kReal,
  kDate,
  kData,
  kTrue,
  kFalse
};

std::optional<Element> element_named(std::string_view name);

/// The value of an element that has neither children nor base64. NULL if the text isn't a value of
/// that element.
/// @throws std::bad_alloc
Owned<CFTypeRef> make_leaf(Element element, std::string_view valid_utf8, RecentKeys& keys);

}  // namespace cf

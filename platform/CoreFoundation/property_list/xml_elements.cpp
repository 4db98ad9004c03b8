#include "xml_elements.h"

#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFNumber.h>

#include <algorithm>
#include <array>
#include <new>

#include "date_text.h"
#include "number_parse.h"

namespace cf {
namespace {

struct ElementName {
  std::string_view name;
  Element element;
};

constexpr std::array<ElementName, 11> kElements = {{{"key", Element::kKey},
                                                    {"string", Element::kString},
                                                    {"integer", Element::kInteger},
                                                    {"true", Element::kTrue},
                                                    {"false", Element::kFalse},
                                                    {"dict", Element::kDict},
                                                    {"array", Element::kArray},
                                                    {"data", Element::kData},
                                                    {"real", Element::kReal},
                                                    {"date", Element::kDate},
                                                    {"plist", Element::kPlist}}};

Owned<CFTypeRef> required(Owned<CFTypeRef> string) {
  if (string == nullptr) throw std::bad_alloc();
  return string;
}

}  // namespace

std::optional<Element> element_named(std::string_view name) {
  const auto found = std::find_if(kElements.begin(), kElements.end(),
                                  [name](const ElementName& entry) { return entry.name == name; });
  return found == kElements.end() ? std::nullopt : std::optional(found->element);
}

Owned<CFTypeRef> make_leaf(Element element, std::string_view text, RecentKeys& keys) {
  switch (element) {
    case Element::kKey:
      return required(keys.make(text));
    case Element::kString:
      return required(make_cfstring(text));
    case Element::kInteger:
      return parse_integer(text);
    case Element::kReal:
      return parse_real(text);
    case Element::kDate: {
      const std::optional<CFAbsoluteTime> time = parse_date(text);
      return Owned<CFTypeRef>(time ? CFDateCreate(kCFAllocatorDefault, *time) : nullptr);
    }
    case Element::kTrue:
    case Element::kFalse:
      if (!text.empty()) return nullptr;
      return Owned<CFTypeRef>(element == Element::kTrue ? kCFBooleanTrue : kCFBooleanFalse);
    default:
      return nullptr;
  }
}

}  // namespace cf

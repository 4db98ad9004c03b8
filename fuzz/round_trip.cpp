#include "fuzz/round_trip.h"

#include <CoreFoundation/CoreFoundation.h>

#include "cf_owned.h"
#include "fuzz/target.h"

namespace fuzz {
namespace {

using Object = cf::Owned<CFTypeRef>;
using Data = cf::Owned<CFDataRef>;

std::string_view bytes_of(const Data& data) {
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
          static_cast<std::size_t>(CFDataGetLength(data.get()))};
}

/// A binary list may contain nulls, for which XML has no element.
bool holds_null(CFTypeRef object) {
  bool found = object == kCFNull;
  const auto look = [](const void* value, void* found_so_far) {
    bool& result = *static_cast<bool*>(found_so_far);
    result = result || holds_null(value);
  };
  if (CFGetTypeID(object) == CFArrayGetTypeID()) {
    const CFArrayRef array = static_cast<CFArrayRef>(object);
    CFArrayApplyFunction(array, CFRangeMake(0, CFArrayGetCount(array)), look, &found);
  } else if (CFGetTypeID(object) == CFDictionaryGetTypeID()) {
    CFDictionaryApplyFunction(
        static_cast<CFDictionaryRef>(object),
        [](const void*, const void* value, void* found_so_far) {
          bool& result = *static_cast<bool*>(found_so_far);
          result = result || holds_null(value);
        },
        &found);
  }
  return found;
}

Data write(CFTypeRef object) {
  Data data(CFPropertyListCreateData(kCFAllocatorDefault, object, kCFPropertyListXMLFormat_v1_0, 0,
                                     nullptr));
  require(data != nullptr, "an object that was read can be written");
  return data;
}

/// XML changes some values: it replaces characters and carriage returns, and drops fractions of
/// seconds. Also, not-a-number isn't equal to itself.
bool loses_nothing(std::string_view xml) {
  for (const std::string_view lost : {"\xef\xbf\xbd", "\r", "<date>", "<real>nan</real>"})
    if (xml.find(lost) != std::string_view::npos) return false;
  return true;
}

}  // namespace

cf::Owned<CFTypeRef> read(std::string_view bytes) {
  const Data data(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                               static_cast<CFIndex>(bytes.size())));
  CFErrorRef error = nullptr;
  Object object(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                             kCFPropertyListImmutable, nullptr, &error));
  require((object == nullptr) == (error != nullptr), "either an object or an error");
  if (error != nullptr) CFRelease(error);
  return object;
}

std::string written(CFTypeRef object) { return std::string(bytes_of(write(object))); }

void round_trip(std::string_view property_list) {
  const Object first = read(property_list);
  if (first == nullptr || holds_null(first.get())) return;
  const Data written = write(first.get());
  const Object second = read(bytes_of(written));
  require(second != nullptr, "the written XML can be read");
  if (loses_nothing(bytes_of(written)))
    require(CFEqual(first.get(), second.get()), "the written XML reads as an equal object");
  const Data again = write(second.get());
  const Object third = read(bytes_of(again));
  require(third != nullptr && bytes_of(write(third.get())) == bytes_of(again),
          "a second round trip changes nothing");
}

}  // namespace fuzz

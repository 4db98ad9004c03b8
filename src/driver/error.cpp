#include "driver/error.h"

#include <algorithm>
#include <array>

namespace korvrestore {
namespace {

constexpr std::uint32_t code_count = 9;

/// The text as a string. File names and command lines need not be UTF-8: then question marks
/// replace the bytes that aren't ASCII.
cf_string make_reason(std::string text) {
  cf_string reason(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
  if (!reason) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }, '?');
    reason = not_null<cf_string>(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
  }
  return reason;
}

}  // namespace

CFStringRef ErrorDescription(Error code) noexcept {
  static const std::array<CFStringRef, code_count> descriptions = {
      CFSTR("No error"),
      CFSTR("Unknown error"),
      CFSTR("Invalid argument"),
      CFSTR("Bad command"),
      CFSTR("Bad ECID specified"),
      CFSTR("Device is in bad state"),
      CFSTR("Recovery mode command failed"),
      CFSTR("Restore did not complete before timeout expired"),
      CFSTR("Read error"),
  };
  const std::uint32_t index = static_cast<std::uint32_t>(code);
  return index < code_count ? descriptions[index] : CFSTR("Unknown error");
}

cf_error CreateDomainError(Error code, const std::string& reason) noexcept {
  const auto user_info = not_null<cf_mutable_dictionary>(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(user_info.get(), kCFErrorLocalizedDescriptionKey, ErrorDescription(code));
  CFDictionarySetValue(user_info.get(), kCFErrorLocalizedFailureReasonKey,
                       make_reason(reason).get());
  return not_null<cf_error>(CFErrorCreate(kCFAllocatorDefault, CFSTR("korvrestore"),
                                          static_cast<CFIndex>(code), user_info.get()));
}

int GetCode(CFErrorRef error) noexcept {
  if (error == nullptr) return static_cast<int>(Error::NoError);
  const std::uint32_t code = static_cast<std::uint32_t>(CFErrorGetCode(error));
  return static_cast<int>(code < code_count ? code
                                            : static_cast<std::uint32_t>(Error::UnknownError));
}

}  // namespace korvrestore

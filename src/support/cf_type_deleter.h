#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>

namespace korvrestore {

/// Deleter of the owning handles of CoreFoundation objects: releases one reference.
struct CFTypeDeleter {
  void operator()(const void* object) const noexcept {
    if (object != nullptr) CFRelease(object);
  }
};

/// An owned object of any CoreFoundation type.
using cf_object = std::unique_ptr<const void, CFTypeDeleter>;
using cf_string = std::unique_ptr<const __CFString, CFTypeDeleter>;
using cf_data = std::unique_ptr<const __CFData, CFTypeDeleter>;
using cf_error = std::unique_ptr<__CFError, CFTypeDeleter>;
using cf_dictionary = std::unique_ptr<const __CFDictionary, CFTypeDeleter>;
using cf_mutable_dictionary = std::unique_ptr<__CFDictionary, CFTypeDeleter>;

}  // namespace korvrestore

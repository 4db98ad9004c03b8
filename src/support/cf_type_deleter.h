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

/// Ends the process with one line on standard error.
[[noreturn]] void no_memory() noexcept;

/// An owned object of any CoreFoundation type.
using cf_object = std::unique_ptr<const void, CFTypeDeleter>;
using cf_string = std::unique_ptr<const __CFString, CFTypeDeleter>;
using cf_data = std::unique_ptr<const __CFData, CFTypeDeleter>;
using cf_error = std::unique_ptr<__CFError, CFTypeDeleter>;
using cf_dictionary = std::unique_ptr<const __CFDictionary, CFTypeDeleter>;
using cf_mutable_dictionary = std::unique_ptr<__CFDictionary, CFTypeDeleter>;

/// A new object as a handle. Ends the process with one line on standard error if it is NULL:
/// CoreFoundation had no memory for it, so no message could be created.
template <typename Handle>
Handle not_null(typename Handle::pointer created) noexcept {
  if (created == nullptr) no_memory();
  return Handle(created);
}

}  // namespace korvrestore

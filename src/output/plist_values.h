#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "support/cf_type_deleter.h"

namespace korvrestore {

/// What to do with a value that XML can't contain.
enum class on_error {
  skip = 0,  // drop it
  fail = 1,  // let the whole conversion fail
};

/// A copy of `object` that can be written as an XML property list. Containers are new and mutable,
/// errors become dictionaries, and all other values are shared. NULL if nothing can be kept.
/// @throws std::runtime_error  nothing was kept and the policy is `fail`.
cf_object sanitize_for_xml(const void* object, on_error policy);

/// Sets `key` in the dictionary; does nothing if `value` is NULL.
void set_unless_null(CFMutableDictionaryRef dictionary, CFStringRef key, const void* value);

/// "Domain", "Code", "Description" and "FailureReason" of an error, without those it lacks. NULL
/// for NULL.
cf_mutable_dictionary DictionaryFromError(CFErrorRef error);

}  // namespace korvrestore

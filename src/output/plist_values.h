#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "support/cf_type_deleter.h"

namespace korvrestore {

/// What becomes of a value that XML can't hold.
enum class on_error {
  skip = 0,  // it is dropped
  fail = 1,  // the whole conversion fails
};

/// A copy of `object` that can be written as an XML property list: containers are new and mutable,
/// errors become dictionaries, all else is shared. NULL when nothing can be kept.
/// @throws std::runtime_error  nothing was kept and the policy is `fail`.
cf_object sanitize_for_xml(const void* object, on_error policy);

/// Sets `key` in the dictionary; does nothing if `value` is NULL.
void set_unless_null(CFMutableDictionaryRef dictionary, CFStringRef key, const void* value);

/// "Domain", "Code", "Description" and "FailureReason" of an error, as far as it has them; NULL for
/// NULL.
cf_mutable_dictionary DictionaryFromError(CFErrorRef error);

}  // namespace korvrestore

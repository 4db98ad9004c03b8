/// Property lists: strings, numbers, booleans, dates, data, arrays and dictionaries with string
/// keys, read and written as files.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFError.h>

enum CFPropertyListFormat : CFIndex {
  kCFPropertyListOpenStepFormat = 1,
  kCFPropertyListXMLFormat_v1_0 = 100,
  kCFPropertyListBinaryFormat_v1_0 = 200,
};

enum CFPropertyListMutabilityOptions : CFOptionFlags {
  kCFPropertyListImmutable = 0,
};

enum : CFIndex {
  kCFPropertyListReadCorruptError = 3840,
  kCFPropertyListWriteStreamError = 3851,
};

#pragma GCC visibility push(default)
extern "C" {

/// The object written as a file of `format`, which must be the XML one; `options` 0. NULL when it
/// can't be written: then `*error`, unless `error` is NULL, is a new error that says why.
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef property_list,
                                   CFPropertyListFormat format, CFOptionFlags options,
                                   CFErrorRef* error);
/// The object that XML, binary or OpenStep text `data` holds, immutable, with the format found in
/// `*format` unless that is NULL. NULL when it holds none: then `*error`, unless `error` is NULL,
/// is a new error that says why. Time grows with the length of `data`, whatever it holds; so does
/// memory, by at most some 15 bytes for each byte of XML and 40 for each of OpenStep text or of a
/// binary list (measured on the lists that need most: attributes, keys of one letter, references to
/// one small array; usual ones need 2 to 5), beside some MiB in all.
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);

}  // extern "C"
#pragma GCC visibility pop

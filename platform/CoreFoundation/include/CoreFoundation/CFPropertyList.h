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

/// The object written as a file of `format`, which must be XML; `options` must be 0. NULL if it
/// can't be written: then `*error` is a new error with the reason, unless `error` is NULL.
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef property_list,
                                   CFPropertyListFormat format, CFOptionFlags options,
                                   CFErrorRef* error);
/// The immutable object that XML, binary or OpenStep text `data` contains. `*format` is the format
/// that was found, unless `format` is NULL. NULL if the data can't be read: then `*error` is a new
/// error with the reason, unless `error` is NULL.
///
/// Time and memory are proportional to the length of `data`. Memory is a few MiB, plus at most
/// about 15 bytes for each byte of XML, and 40 for each byte of OpenStep text or of a binary list.
/// Usual lists need 2 to 5. (Measured with attributes, keys of one letter and references to one
/// small array, which need most.)
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);

}  // extern "C"
#pragma GCC visibility pop

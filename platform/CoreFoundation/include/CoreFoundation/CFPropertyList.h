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

extern "C" {

/// The object written as a file of `format`, which must be the XML one; `options` 0. NULL when it
/// can't be written: then `*error`, unless `error` is NULL, is a new error that says why.
CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef property_list,
                                   CFPropertyListFormat format, CFOptionFlags options,
                                   CFErrorRef* error);
/// The object that XML, binary or OpenStep text `data` holds, immutable, with the format found in
/// `*format` unless that is NULL. NULL when it holds none: then `*error`, unless `error` is NULL,
/// is a new error that says why. Time and memory are bounded by the length of `data`.
CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);

}  // extern "C"

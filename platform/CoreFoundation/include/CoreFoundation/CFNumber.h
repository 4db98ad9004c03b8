/// Booleans and numbers.
#pragma once

#include <CoreFoundation/CFBase.h>

using CFBooleanRef = const struct __CFBoolean*;
using CFNumberRef = const struct __CFNumber*;

enum CFNumberType : CFIndex {
  kCFNumberSInt8Type = 1,
  kCFNumberSInt16Type = 2,
  kCFNumberSInt32Type = 3,
  kCFNumberSInt64Type = 4,
  kCFNumberFloat32Type = 5,
  kCFNumberFloat64Type = 6,
  kCFNumberCharType = 7,
  kCFNumberShortType = 8,
  kCFNumberIntType = 9,
  kCFNumberLongType = 10,
  kCFNumberLongLongType = 11,
  kCFNumberFloatType = 12,
  kCFNumberDoubleType = 13,
  kCFNumberCFIndexType = 14,
  kCFNumberNSIntegerType = 15,
  kCFNumberCGFloatType = 16,
  kCFNumberMaxType = 16,
};

#pragma GCC visibility push(default)
extern "C" {

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

extern const CFNumberRef kCFNumberNaN;
extern const CFNumberRef kCFNumberNegativeInfinity;
extern const CFNumberRef kCFNumberPositiveInfinity;
CFTypeID CFNumberGetTypeID(void);
/// `value_ptr` points to a value of `type`.
CFNumberRef CFNumberCreate(CFAllocatorRef alloc, CFNumberType type, const void* value_ptr);
Boolean CFNumberIsFloatType(CFNumberRef number);
/// Writes the number as a value of `type`. False if information was lost; the truncated value is
/// written also then.
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value_ptr);

}  // extern "C"
#pragma GCC visibility pop

/// The memory layout of CFData, for the files that create it.
#pragma once

#include <CoreFoundation/CFData.h>

#include "object.h"

/// The bytes follow this object, or belong to the caller of CFDataCreateWithBytesNoCopy.
struct __CFData {
  CFRuntimeBase base;
  CFIndex length;
  const UInt8* bytes;
};

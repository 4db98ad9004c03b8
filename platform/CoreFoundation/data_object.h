/// A CFData's memory, for the files that make them.
#pragma once

#include <CoreFoundation/CFData.h>

#include "object.h"

/// The bytes stand behind this, or with the caller of CFDataCreateWithBytesNoCopy.
struct __CFData {
  CFRuntimeBase base;
  CFIndex length;
  const UInt8* bytes;
};

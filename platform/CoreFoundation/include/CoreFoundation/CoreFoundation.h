/// The part of the CoreFoundation C API that this project calls, with the names, types and
/// ownership rules of the system's own headers. The caller owns the result of a function with
/// Create or Copy in its name and releases it with CFRelease. Everything else is borrowed.
#pragma once

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFSet.h>
#include <CoreFoundation/CFString.h>

#pragma once

#include <CoreFoundation/CoreFoundation.h>

/// Whether the object and its contents can be written as a property list of `format`. False for the
/// OpenStep format and for NULL. Visits the whole graph, which must be free of cycles.
bool CFPropertyListValidateForSerialization(const void* object, CFPropertyListFormat format);

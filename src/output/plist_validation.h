#pragma once

#include <CoreFoundation/CoreFoundation.h>

/// Whether the object and all that it holds can be written as a property list of `format`. Never
/// for the OpenStep format or NULL. Walks the whole graph, which must be free of cycles.
bool CFPropertyListValidateForSerialization(const void* object, CFPropertyListFormat format);

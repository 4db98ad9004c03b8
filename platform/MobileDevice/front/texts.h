/// The library's own texts of operations and errors.
#pragma once

#include <string_view>

namespace MobileDevice {

/// "Unrecognized operation" for a number without a text.
std::string_view operation_text(int operation);
/// "Unrecognized error" for a number without a text.
std::string_view error_text(int error);

}  // namespace MobileDevice

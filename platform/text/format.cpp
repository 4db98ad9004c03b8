#include "text/format.h"

namespace text {

std::string format_arguments(fmt::string_view format, fmt::format_args arguments) {
  return fmt::vformat(format, arguments);
}

}  // namespace text

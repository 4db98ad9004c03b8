#include "support/device_id.h"

#include <ostream>

#include "text/format.h"

namespace TY {

device_id make_device_id(const ecid& ecid) { return device_id(text::format("{}", ecid)); }

std::ostream& operator<<(std::ostream& stream, const device_id& id) {
  return stream << text::format("{}", id);
}

}  // namespace TY

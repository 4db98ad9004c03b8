#include "support/device_id.h"

#include <ostream>

namespace TY {

device_id make_device_id(const ecid& ecid) { return device_id(fmt::format("{}", ecid)); }

std::ostream& operator<<(std::ostream& stream, const device_id& id) {
  return stream << fmt::format("{}", id);
}

}  // namespace TY

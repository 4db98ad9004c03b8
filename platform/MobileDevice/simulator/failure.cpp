#include "failure.h"

namespace MobileDevice::simulator {

Owned<CFErrorRef> Failure::error() const {
  return make_error("MobileDeviceSimulator", static_cast<CFIndex>(code_), what());
}

}  // namespace MobileDevice::simulator

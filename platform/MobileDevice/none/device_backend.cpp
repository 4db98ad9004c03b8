#include "../device_backend.h"

namespace MobileDevice {
namespace {

/// Finds no device.
class NoDevices final : public Backend {
 public:
  Owned<CFErrorRef> start(Listener&) override { return nullptr; }
};

}  // namespace

std::unique_ptr<Backend> make_device_backend() { return std::make_unique<NoDevices>(); }

}  // namespace MobileDevice

/// The backend for real devices that the build has chosen.
#pragma once

#include <memory>

#include "backend.h"

namespace MobileDevice {

std::unique_ptr<Backend> make_device_backend();

}  // namespace MobileDevice

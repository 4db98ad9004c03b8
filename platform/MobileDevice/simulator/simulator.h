/// The backend whose devices a scenario file describes.
#pragma once

#include <memory>
#include <string>

#include "../backend.h"

namespace MobileDevice::simulator {

/// The file is read when the backend is first asked something. If it can't be used, starting fails
/// with an error of the domain "MobileDeviceSimulator" and all else is as without a scenario.
std::unique_ptr<Backend> make_simulator(std::string scenario_file);

}  // namespace MobileDevice::simulator

/// The backend whose devices a scenario file describes.
#pragma once

#include <memory>
#include <string>

#include "../backend.h"

namespace MobileDevice::simulator {

/// Reads the file at the first call of the backend. If it can't be used, starting fails with an
/// error of the domain "MobileDeviceSimulator", and everything else works as without a scenario.
std::unique_ptr<Backend> make_simulator(std::string scenario_file);

}  // namespace MobileDevice::simulator

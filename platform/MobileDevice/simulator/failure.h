/// What goes wrong in the simulator.
#pragma once

#include <stdexcept>
#include <string>

#include "../cf.h"

namespace MobileDevice {

/// The codes of the CFErrors of the domain "MobileDeviceSimulator"; integrators see them.
enum class FailureCode : CFIndex {
  scenario = 1,
  options = 2,
  bundle = 3,
  build_manifest = 4,
  no_identity = 5,
  personalized_bundle = 6,
  device_left = 7,
  internal = 8,
};

/// The text says what is wrong with which file.
class Failure : public std::runtime_error {
 public:
  Failure(FailureCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  Owned<CFErrorRef> error() const;

 private:
  FailureCode code_;
};

}  // namespace MobileDevice

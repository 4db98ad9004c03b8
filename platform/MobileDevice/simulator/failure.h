/// The simulator's errors.
#pragma once

#include <stdexcept>
#include <string>

#include "../cf_values.h"

namespace MobileDevice::simulator {

/// The codes of the CFErrors of the domain "MobileDeviceSimulator"; integrators see them.
enum class FailureCode : CFIndex {
  kScenario = 1,
  kOptions = 2,
  kBundle = 3,
  kBuildManifest = 4,
  kNoIdentity = 5,
  kPersonalizedBundle = 6,
  kDeviceLeft = 7,
  kInternal = 8,
};

/// The text names the file and the problem.
class Failure : public std::runtime_error {
 public:
  Failure(FailureCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  Owned<CFErrorRef> error() const {
    return make_error("MobileDeviceSimulator", static_cast<CFIndex>(code_), what());
  }

 private:
  FailureCode code_;
};

}  // namespace MobileDevice::simulator

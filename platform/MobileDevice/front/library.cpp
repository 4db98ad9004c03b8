#include "library.h"

#include <cstdlib>

#include "../device_backend.h"
#include "../simulator/simulator.h"

namespace MobileDevice {
namespace {

std::unique_ptr<Backend> choose_backend() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the process never sets variables
  const char* const scenario = std::getenv("MOBILEDEVICE_SCENARIO");
  return scenario != nullptr ? simulator::make_simulator(scenario) : make_device_backend();
}

}  // namespace

Library& library() {
  static Library& instance = *new Library(choose_backend());
  return instance;
}

}  // namespace MobileDevice

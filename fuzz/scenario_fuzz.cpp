#include "MobileDevice/simulator/failure.h"
#include "MobileDevice/simulator/scenario.h"
#include "fuzz/target.h"

void fuzz::run(std::string_view input) {
  const File file(input);
  try {
    MobileDevice::simulator::read_scenario(file.path());
  } catch (const MobileDevice::simulator::Failure& failure) {
    require(std::string_view(failure.what()).starts_with(file.path()), "a failure names the file");
  }
}

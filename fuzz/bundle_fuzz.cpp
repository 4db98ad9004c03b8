#include "MobileDevice/simulator/build_identity.h"
#include "MobileDevice/simulator/failure.h"
#include "MobileDevice/simulator/ipsw.h"
#include "fuzz/target.h"

void fuzz::run(std::string_view input) {
  using namespace MobileDevice;
  const File file(input);
  try {
    simulator::Ipsw bundle(file.path());
    double share = 0;
    bundle.verify([&](double now) {
      require(now >= share && now <= 1, "progress rises to 1");
      share = now;
    });
    DeviceProperties device;
    device.chip_id = 0x8020;
    device.board_id = 0x0E;
    simulator::personalize(bundle.build_manifest().value.get(), device, CFSTR("Erase"),
                           file.path());
  } catch (const simulator::Failure& failure) {
    require(std::string_view(failure.what()).starts_with(file.path()), "a failure names the file");
  }
}

/// The single instance of everything that the C API uses.
#pragma once

#include <memory>

#include "../backend.h"
#include "log_file.h"
#include "notification_center.h"

namespace MobileDevice {

struct Library {
  explicit Library(std::unique_ptr<Backend> chosen)
      : backend(std::move(chosen)), notification_center(*backend) {}

  std::unique_ptr<Backend> backend;
  NotificationCenter notification_center;
  LogFile log_file;
};

/// Created at the first call. The backend is the simulator if the variable MOBILEDEVICE_SCENARIO is
/// set, even to an empty text, else that of `make_device_backend`. Never destroyed: its threads
/// still run while the process exits.
Library& library();

}  // namespace MobileDevice

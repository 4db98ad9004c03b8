/// The interface between the C API and the backends that communicate with devices (simulator, USB).
/// The C API keeps handles, registrations, queues, texts and the log.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <MobileDevice/MobileDevice.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cf_values.h"

namespace MobileDevice {

/// The properties of a device that are known without communicating with it.
struct DeviceProperties {
  std::uint64_t ecid = 0;
  AMRestorableDeviceState state = kAMRestorableDeviceStateUnknown;
  std::uint16_t product_id = 0;
  std::uint32_t board_id = 0;
  std::uint32_t chip_id = 0;
  std::uint32_t product_type = 0;
  std::uint32_t fusing_info = 0;
  std::uint32_t location_id = 0;
  std::optional<std::string> serial_number;
  std::optional<std::string> product_string;
};

/// Receives one status report of a restore; the dictionary is borrowed for the call.
using StatusReceiver = std::function<void(CFDictionaryRef status)>;

/// One device from its arrival to its departure; a device that comes back is another object. All
/// functions may be called on any thread, also after the device has left.
class Attachment {
 public:
  virtual ~Attachment() = default;

  /// Never blocks.
  virtual DeviceProperties properties() const = 0;
  /// Whether recovery commands can be sent to it. Never blocks.
  virtual bool takes_recovery_commands() const = 0;
  /// Both block until the device has answered.
  virtual AMRError set_auto_boot(bool on) = 0;
  virtual AMRError reboot() = 0;
  /// Returns at once; reports follow on a thread of the backend, the one of operation 0 with
  /// progress 100 last. `options` is borrowed for the call.
  virtual void restore(CFDictionaryRef options, StatusReceiver receiver) = 0;
};

/// Receives the reports of devices. The backend calls it on one thread at a time, in the order of
/// events.
class Listener {
 public:
  virtual void attached(std::shared_ptr<Attachment> attachment) = 0;
  virtual void detached(const std::shared_ptr<Attachment>& attachment) = 0;
  /// A report of any type about a device. It doesn't change which devices are attached.
  virtual void reported(const std::shared_ptr<Attachment>& attachment,
                        AMRestorableDeviceNotificationType type) = 0;

 protected:
  ~Listener() = default;
};

/// Finds devices and communicates with them. Exists until the process ends: its threads are never
/// joined.
class Backend {
 public:
  virtual ~Backend() = default;

  /// Starts the detection of devices, at the first registration. Calls `listener` for each attached
  /// device, then at each change.
  /// @return  NULL, or the failure, after which it may be started again
  virtual Owned<CFErrorRef> start(Listener& listener) = 0;

  /// What AMRestoreEnableFileLogging returns instead of opening a file; 0: open it.
  virtual int file_logging_error() const { return 0; }
  virtual bool has_default_restore_options() const { return true; }
  /// Texts that replace the library's own. They may have numbers that the library doesn't know.
  virtual std::optional<std::string> operation_text(int) const { return std::nullopt; }
  virtual std::optional<std::string> error_text(int) const { return std::nullopt; }
};

}  // namespace MobileDevice

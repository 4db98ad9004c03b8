/// What the MobileDevice library asks of those who reach devices: the simulator and the USB
/// backend. The C API in front of it keeps handles, registrations, queues, texts and the log.
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

/// What is known of a device without asking it anything.
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

/// Takes one status report of a restore; the dictionary is borrowed for the call.
using StatusReceiver = std::function<void(CFDictionaryRef status)>;

/// One attachment of one device: a device that comes back is another object. The calls may come
/// on any thread, also after the device has left.
class Attachment {
 public:
  virtual ~Attachment() = default;

  /// Never blocks.
  virtual DeviceProperties properties() const = 0;
  /// Whether recovery commands can be sent to it. Never blocks.
  virtual bool takes_recovery_commands() const = 0;
  /// Block until the device has answered.
  virtual AMRError set_auto_boot(bool on) = 0;
  virtual AMRError reboot() = 0;
  /// Returns at once; reports follow on a thread of the backend, the one of operation 0 with
  /// progress 100 last. `options` is borrowed for the call.
  virtual void restore(CFDictionaryRef options, StatusReceiver receiver) = 0;
};

/// Who hears of devices. The backend calls it on one thread at a time, in the order of events.
class Listener {
 public:
  virtual void attached(std::shared_ptr<Attachment> attachment) = 0;
  virtual void detached(const std::shared_ptr<Attachment>& attachment) = 0;
  /// A report of any type about a device, which changes nothing about who is attached.
  virtual void reported(const std::shared_ptr<Attachment>& attachment,
                        AMRestorableDeviceNotificationType type) = 0;

 protected:
  ~Listener() = default;
};

/// A way to reach devices. Lives until the process ends: its threads are never joined.
class Backend {
 public:
  virtual ~Backend() = default;

  /// Begins to watch for devices, at the first registration; calls `listener` for those that are
  /// attached already, then at each change.
  /// @return  NULL, or the failure, after which it may be started again
  virtual Owned<CFErrorRef> start(Listener& listener) = 0;

  /// What AMRestoreEnableFileLogging returns instead of opening a file; 0: open it.
  virtual int file_logging_error() const { return 0; }
  virtual bool has_default_restore_options() const { return true; }
  /// Texts that stand over the library's own; the numbers need not be known to it.
  virtual std::optional<std::string> operation_text(int) const { return std::nullopt; }
  virtual std::optional<std::string> error_text(int) const { return std::nullopt; }
};

}  // namespace MobileDevice

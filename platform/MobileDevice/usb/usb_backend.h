/// Real devices, through libusb.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "../backend.h"
#include "device_strings.h"
#include "event_loop.h"
#include "libusb_handles.h"
#include "usb_attachment.h"

namespace MobileDevice::usb {

/// libusb is first called by `start`, and never shut down once that has succeeded.
class UsbBackend final : public Backend {
 public:
  /// Reports the devices that are attached already before it returns, but for those that have to
  /// be asked who they are; all later reports come on the event loop's thread.
  Owned<CFErrorRef> start(Listener& listener) override;
  std::optional<std::string> error_text(int number) const override;

 private:
  static int LIBUSB_CALL on_hotplug(libusb_context* context, libusb_device* device,
                                    libusb_hotplug_event event, void* self) noexcept;
  void arrived(const DeviceReference& device);
  void ask(const DeviceReference& device, const DeviceStrings& strings);
  void identified(const DeviceReference& device, const DeviceStrings& strings);
  void departed(const DeviceReference& device);

  Listener* listener_ = nullptr;
  std::shared_ptr<EventLoop> loop_;
  /// Those that are attached, by address; NULL while they are asked who they are. Of `start` until
  /// it starts the event loop's thread, then of that thread.
  std::map<DeviceReference, std::shared_ptr<UsbAttachment>> present_;
};

}  // namespace MobileDevice::usb

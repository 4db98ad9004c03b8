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

/// `start` makes the first call to libusb. After its success libusb is never shut down.
class UsbBackend final : public Backend {
 public:
  /// Reports the attached devices before it returns, except those whose strings must be read from
  /// the device. All later reports come on the event loop's thread.
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
  /// The attached devices by address; NULL while their strings are read. `start` uses it until it
  /// starts the event loop's thread, then only that thread does.
  std::map<DeviceReference, std::shared_ptr<UsbAttachment>> present_;
};

}  // namespace MobileDevice::usb

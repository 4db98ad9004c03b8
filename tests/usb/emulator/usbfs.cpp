#include "usbfs.h"

#include <fmt/format.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace emulator {
namespace {

void report(const Device& device, const std::string& operation, const std::string& result) {
  fmt::print("usb {} {} -> {}\n", device.port, operation, result);
}

/// What the pointer at `offset` of the argument points to, fetched from the program's memory.
/// @throws std::system_error  EFAULT: there is no such memory, as when the program has ended
Owned<UMockdevIoctlData> resolve(UMockdevIoctlData* data, std::size_t offset, std::size_t size) {
  Owned<UMockdevIoctlData> target(umockdev_ioctl_data_resolve(data, offset, size, nullptr));
  if (!target) throw std::system_error(EFAULT, std::generic_category());
  return target;
}

Owned<UMockdevIoctlData> argument_of(UMockdevIoctlClient* client, std::size_t size) {
  return resolve(umockdev_ioctl_client_get_arg(client), 0, size);
}

}  // namespace

Usbfs::Usbfs() : handler_(umockdev_ioctl_base_new()) {
  g_signal_connect(handler_.get(), "handle-ioctl", G_CALLBACK(on_ioctl), this);
}

gboolean Usbfs::on_ioctl(UMockdevIoctlBase*, UMockdevIoctlClient* client, gpointer self) {
  Usbfs* const usbfs = static_cast<Usbfs*>(self);
  const std::lock_guard<std::mutex> lock(usbfs->machine_->mutex);
  int error = 0;
  try {
    error = usbfs->answer(client);
  } catch (const std::system_error& failure) {
    error = failure.code().value();
  }
  umockdev_ioctl_client_complete(client, error == 0 ? 0 : -1, error);
  return TRUE;
}

int Usbfs::answer(UMockdevIoctlClient* client) {
  const std::shared_ptr<Device> device =
      machine_->at_node(umockdev_ioctl_client_get_devnode(client));
  if (!device) return ENOTTY;
  const unsigned long request = umockdev_ioctl_client_get_request(client);
  // These are answered also when the device has left.
  if (request == USBDEVFS_REAPURB || request == USBDEVFS_REAPURBNDELAY)
    return reap(*device, client);
  if (request == USBDEVFS_DISCARDURB) return discard(*device, client);
  if (device->gone) return ENODEV;
  switch (request) {
    case USBDEVFS_GET_CAPABILITIES:
      return capabilities(*device, umockdev_ioctl_client_get_arg(client));
    case USBDEVFS_CLAIMINTERFACE:
      return claim(*device, umockdev_ioctl_client_get_arg(client));
    case USBDEVFS_SUBMITURB:
      return submit(device, client);
    default:
      report(*device, fmt::format("ioctl {:x}", request), "ENOTTY");
      return ENOTTY;
  }
}

/// libusb asks for them as it opens a device, and for nothing else.
int Usbfs::capabilities(Device& device, UMockdevIoctlData* argument) {
  const Owned<UMockdevIoctlData> flags = resolve(argument, 0, sizeof(guint32));
  const std::string fault = device.take_fault("open");
  const std::string swap = "swap ";
  if (fault.starts_with(swap)) machine_->swap(device, fault.substr(swap.size()));
  report(device, "open", fault.empty() ? "ok" : fault);
  *reinterpret_cast<guint32*>(flags->data) = USBDEVFS_CAP_ZERO_PACKET |
                                             USBDEVFS_CAP_BULK_CONTINUATION |
                                             USBDEVFS_CAP_REAP_AFTER_DISCONNECT;
  return 0;
}

int Usbfs::claim(Device& device, UMockdevIoctlData* argument) {
  const Owned<UMockdevIoctlData> data = resolve(argument, 0, sizeof(unsigned int));
  const std::string operation =
      fmt::format("claim {}", *reinterpret_cast<unsigned int*>(data->data));
  const std::string fault = device.take_fault(operation);
  report(device, operation, fault.empty() ? "ok" : fault);
  return fault.empty() ? 0 : fault == "unconfigured" ? ENOENT : EBUSY;
}

int Usbfs::submit(const std::shared_ptr<Device>& device, UMockdevIoctlClient* client) {
  Owned<UMockdevIoctlData> data = argument_of(client, sizeof(usbdevfs_urb));
  const usbdevfs_urb* const urb = reinterpret_cast<usbdevfs_urb*>(data->data);
  if (urb->type != USBDEVFS_URB_TYPE_CONTROL || urb->buffer_length < 8) return EINVAL;
  const std::size_t size = static_cast<std::size_t>(urb->buffer_length);
  const Owned<UMockdevIoctlData> buffer =
      resolve(data.get(), G_STRUCT_OFFSET(usbdevfs_urb, buffer), size);
  Answer answer = answer_control(*device, {buffer->data, size});
  report(*device, answer.operation, answer.result);
  if (answer.leaves) machine_->unplug_soon(device);
  const bool to_host = (buffer->data[0] & 0x80) != 0;
  const std::size_t transferred = answer.status != 0 ? 0 : to_host ? answer.data.size() : size - 8;
  // The reference to `data` keeps its address in the program from being matched to another.
  urbs_.push_back({std::move(data),
                   Owned<UMockdevIoctlClient>(UMOCKDEV_IOCTL_CLIENT(g_object_ref(client))), device,
                   std::move(answer), static_cast<int>(transferred)});
  return 0;
}

int Usbfs::reap(const Device& device, UMockdevIoctlClient* client) {
  const auto done = std::find_if(urbs_.begin(), urbs_.end(), [&](const Urb& urb) {
    return urb.client.get() == client && (!urb.answer.never || device.gone);
  });
  if (done == urbs_.end()) return device.gone ? ENODEV : EAGAIN;
  const Owned<UMockdevIoctlData> pointer = argument_of(client, sizeof(gpointer));
  usbdevfs_urb* const urb = reinterpret_cast<usbdevfs_urb*>(done->data->data);
  urb->status = done->answer.never ? -ESHUTDOWN : done->answer.status;
  urb->actual_length = done->transferred;
  std::copy(done->answer.data.begin(), done->answer.data.end(),
            static_cast<std::uint8_t*>(urb->buffer) + 8);
  umockdev_ioctl_data_set_ptr(pointer.get(), 0, done->data.get());
  urbs_.erase(done);
  return 0;
}

int Usbfs::discard(const Device& device, UMockdevIoctlClient* client) {
  const unsigned long address =
      *reinterpret_cast<unsigned long*>(umockdev_ioctl_client_get_arg(client)->data);
  for (Urb& urb : urbs_) {
    if (urb.client.get() != client || urb.data->client_addr != address) continue;
    urb.answer.never = false;
    urb.answer.status = -ENOENT;
    report(device, urb.answer.operation, "discarded");
    return 0;
  }
  return EINVAL;
}

}  // namespace emulator

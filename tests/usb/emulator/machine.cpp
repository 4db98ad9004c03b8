#include "machine.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <functional>
#include <stdexcept>

namespace emulator {
namespace {

constexpr const char* kController = "/devices/pci0000:00/0000:00:14.0";

int bus_of(const std::string& port) { return std::stoi(port); }

/// The device path of what is at `port`, below its root hub and the hubs between.
std::string device_path(const std::string& port) {
  std::string path = fmt::format("{}/usb{}", kController, bus_of(port));
  for (std::size_t dot = port.find('.'); dot != port.npos; dot = port.find('.', dot + 1))
    path += "/" + port.substr(0, dot);
  return path + "/" + port;
}

/// Runs `task` on the main thread after so many milliseconds.
void run_later(unsigned int milliseconds, std::function<void()> task) {
  g_timeout_add_full(
      G_PRIORITY_DEFAULT, milliseconds,
      [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_REMOVE;
      },
      new std::function<void()>(std::move(task)),
      [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}

void throw_on(GError* error) {
  if (error == nullptr) return;
  const std::string text = error->message;
  g_error_free(error);
  throw std::runtime_error(text);
}

}  // namespace

Machine::Machine(UMockdevIoctlBase* handler) : testbed_(umockdev_testbed_new()), handler_(handler) {
  gchar* const root = umockdev_testbed_get_root_dir(testbed_.get());
  chmod(root, 0777);  // for programs that run as another user
  g_free(root);
}

void Machine::plug(Device device) {
  if (by_port_.contains(device.port)) throw std::invalid_argument(device.port + " is taken");
  plug_hubs(device.port);
  device.bus = bus_of(device.port);
  device.number = ++last_number_[device.bus];
  const auto plugged = std::make_shared<Device>(std::move(device));
  by_port_[plugged->port] = plugged;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    by_node_[plugged->node()] = plugged;
  }
  fmt::print("plugged {}\n", plugged->port);
  add_to_testbed(*plugged, device_path(plugged->port));
}

void Machine::unplug(const std::shared_ptr<Device>& device) {
  const auto found = by_port_.find(device->port);
  if (found == by_port_.end() || found->second != device) return;
  by_port_.erase(found);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    device->gone = true;
  }
  fmt::print("unplugged {}\n", device->port);
  const std::string path = "/sys" + device_path(device->port);
  umockdev_testbed_uevent(testbed_.get(), path.c_str(), "remove");
  umockdev_testbed_remove_device(testbed_.get(), path.c_str());
}

void Machine::unplug_soon(const std::shared_ptr<Device>& device, bool reboots) {
  run_later(0, [this, device] { unplug(device); });
  if (!reboots) return;
  std::string mode = device->returns_as;
  if (mode.empty()) mode = device->saved_environment["auto-boot"] == "true" ? "none" : "recovery";
  if (mode == "none") return;
  Device back = make_device(device->port, mode);
  back.environment = back.saved_environment = device->saved_environment;
  run_later(device->returns_after_ms, [this, back] { plug(back); });
}

void Machine::swap(Device& device) {
  device.serial = device.serial_after_swap;
  const std::string path = "/sys" + device_path(device.port);
  umockdev_testbed_set_attribute(testbed_.get(), path.c_str(), "serial", device.serial.c_str());
}

void Machine::set_node_mode(const Device& device, unsigned int mode) {
  gchar* const root = umockdev_testbed_get_root_dir(testbed_.get());
  const int result = chmod((root + device.node()).c_str(), mode);
  g_free(root);
  if (result != 0) throw std::runtime_error("can't change the mode of " + device.node());
}

std::shared_ptr<Device> Machine::at_port(const std::string& port) {
  const auto found = by_port_.find(port);
  return found == by_port_.end() ? nullptr : found->second;
}

std::shared_ptr<Device> Machine::at_node(const std::string& node) {
  const auto found = by_node_.find(node);
  return found == by_node_.end() ? nullptr : found->second;
}

/// The root hub and the hubs between it and the device: without them libusb finds no port numbers.
void Machine::plug_hubs(const std::string& port) {
  const auto plug_hub = [&](const std::string& name, const std::string& path) {
    if (!hubs_.insert(name).second) return;
    Device hub = make_device(name, "other");
    hub.bus = bus_of(port);
    hub.number = ++last_number_[hub.bus];
    add_to_testbed(hub, path);
  };
  const std::string root = fmt::format("usb{}", bus_of(port));
  plug_hub(root, fmt::format("{}/{}", kController, root));
  for (std::size_t dot = port.find('.'); dot != port.npos; dot = port.find('.', dot + 1))
    plug_hub(port.substr(0, dot), device_path(port.substr(0, dot)));
}

/// The description is of umockdev's own format. Adding sends the uevent, too.
void Machine::add_to_testbed(const Device& device, const std::string& path) {
  GError* error = nullptr;
  umockdev_testbed_attach_ioctl(testbed_.get(), device.node().c_str(), handler_, &error);
  throw_on(error);
  std::string description = fmt::format(
      "P: {}\nN: bus/usb/{:03}/{:03}\nE: SUBSYSTEM=usb\nE: DRIVER=usb\nE: DEVTYPE=usb_device\n"
      "E: DEVNAME={}\nE: MAJOR=189\nE: MINOR={}\nE: BUSNUM={:03}\nE: DEVNUM={:03}\n"
      "E: PRODUCT={:x}/{:x}/0\nA: bConfigurationValue=1\\n\nA: bNumConfigurations=1\\n\n"
      "A: speed=480\\n\nA: busnum={}\\n\nA: devnum={}\\n\nA: idVendor={:04x}\\n\n"
      "A: idProduct={:04x}\\n\n",
      path, device.bus, device.number, device.node(), (device.bus - 1) * 128 + device.number - 1,
      device.bus, device.number, device.vendor_id, device.product_id, device.bus, device.number,
      device.vendor_id, device.product_id);
  if (device.strings_in_sysfs)
    description +=
        fmt::format("A: product={}\\n\nA: serial={}\\n\n", device.product, device.serial);
  description += "H: descriptors=";
  for (const std::uint8_t byte : descriptors_of(device)) description += fmt::format("{:02x}", byte);
  description += "\n";
  umockdev_testbed_add_from_string(testbed_.get(), description.c_str(), &error);
  throw_on(error);
}

}  // namespace emulator

#include "machine.h"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace emulator {
namespace {

constexpr std::uint16_t kLinuxFoundation = 0x1d6b, kRootHub = 2;
constexpr const char* kController = "/devices/pci0000:00/0000:00:14.0";

int bus_of(const std::string& port) { return std::stoi(port); }

/// The device path of what is at `port`, below its root hub and the hubs between.
std::string device_path(const std::string& port) {
  std::string path = fmt::format("{}/usb{}", kController, bus_of(port));
  for (std::size_t dot = port.find('.'); dot != port.npos; dot = port.find('.', dot + 1))
    path += "/" + port.substr(0, dot);
  return path + "/" + port;
}

void throw_on(GError* error) {
  if (error == nullptr) return;
  const std::string text = error->message;
  g_error_free(error);
  throw std::runtime_error(text);
}

}  // namespace

Machine::Machine(UMockdevIoctlBase* handler)
    : testbed_(umockdev_testbed_new()), handler_(handler) {}

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

void Machine::unplug_soon(const std::shared_ptr<Device>& device) {
  using Departure = std::pair<Machine*, std::shared_ptr<Device>>;
  g_idle_add_full(
      G_PRIORITY_DEFAULT,
      [](gpointer data) -> gboolean {
        const auto& [machine, device] = *static_cast<Departure*>(data);
        machine->unplug(device);
        return G_SOURCE_REMOVE;
      },
      new Departure(this, device), [](gpointer data) { delete static_cast<Departure*>(data); });
}

void Machine::swap(Device& device, const std::string& serial) {
  device.serial = serial;
  const std::string path = "/sys" + device_path(device.port);
  umockdev_testbed_set_attribute(testbed_.get(), path.c_str(), "serial", serial.c_str());
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
    Device hub{name, kLinuxFoundation, kRootHub};
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

/// The emulated machine: a /sys and a /dev/bus/usb for other processes, and what is plugged in.
#pragma once

#include <umockdev.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "device.h"

namespace emulator {

/// Owns a GObject.
struct Unreference {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Type>
using Owned = std::unique_ptr<Type, Unreference>;

/// Plugs and unplugs on the main thread only. The devices themselves are also of the thread that
/// answers ioctls, so `mutex` guards them.
class Machine {
 public:
  /// `handler` answers the ioctls on all nodes.
  explicit Machine(UMockdevIoctlBase* handler);

  /// @throws std::invalid_argument  the port is taken
  void plug(Device device);
  void unplug(const std::shared_ptr<Device>& device);
  /// Has the device leave as soon as the main thread comes to it.
  void unplug_soon(const std::shared_ptr<Device>& device);
  /// Puts another device into the place of this one, which nobody is told.
  void swap(Device& device, const std::string& serial);

  /// NULL if there is none.
  std::shared_ptr<Device> at_port(const std::string& port);
  /// Also finds those that have left. NULL for a hub.
  std::shared_ptr<Device> at_node(const std::string& node);

  std::mutex mutex;

 private:
  void plug_hubs(const std::string& port);
  void add_to_testbed(const Device& device, const std::string& path);

  Owned<UMockdevTestbed> testbed_;
  UMockdevIoctlBase* handler_;
  std::map<std::string, std::shared_ptr<Device>> by_port_;
  std::map<std::string, std::shared_ptr<Device>> by_node_;
  std::set<std::string> hubs_;
  std::map<int, int> last_number_;  // of each bus
};

}  // namespace emulator

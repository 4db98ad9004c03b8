/// An emulated device and how it answers.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace emulator {

/// What the next operations that begin with `operation` meet instead of success.
struct Fault {
  std::string operation;
  std::string action;
  int left;  ///< how many more of them; 0 for ever
};

/// A plugged device. One that comes back after a reboot is another.
struct Device {
  std::string port;  ///< as sysfs names it: "1-1", "1-2.3"
  std::uint16_t vendor_id;
  std::uint16_t product_id;
  std::string serial;
  std::string product;
  bool strings_in_sysfs = true;
  std::string serial_after_swap;

  int bus = 0;
  int number = 0;
  bool gone = false;
  std::list<Fault> faults;

  std::map<std::string, std::string> environment;
  std::map<std::string, std::string> saved_environment;
  std::string returns_as;  ///< after a reboot: a mode, or "none"; empty for what auto-boot says
  unsigned int returns_after_ms = 200;

  /// "/dev/bus/usb/001/002"
  std::string node() const;
  /// The action that `operation` meets, or "". Counts.
  std::string take_fault(const std::string& operation);
};

/// @param mode  "recovery", "dfu" or "other"
/// @throws std::invalid_argument
Device make_device(const std::string& port, const std::string& mode);

/// The device descriptor and the configuration's, as sysfs and usbfs show them.
std::vector<std::uint8_t> descriptors_of(const Device& device);

/// How a control transfer ends.
struct Answer {
  std::string operation;           ///< as it is reported
  std::string result = "ok";       ///< likewise
  int status = 0;                  ///< 0 or a negative errno value
  bool never = false;              ///< no end until it is discarded or the device leaves
  bool leaves = false;             ///< the device goes away
  bool reboots = false;            ///< the device goes away and comes back
  std::vector<std::uint8_t> data;  ///< for the host
};

/// @param transfer  the eight bytes of the setup packet and what the host sends after them
Answer answer_control(Device& device, std::span<const std::uint8_t> transfer);

}  // namespace emulator

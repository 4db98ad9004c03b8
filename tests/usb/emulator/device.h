/// An emulated device and how it answers.
#pragma once

#include <cstdint>
#include <list>
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

/// A plugged device. One that comes back is another.
struct Device {
  std::string port;  ///< as sysfs names it: "1-1", "1-2.3"
  std::uint16_t vendor_id = 0;
  std::uint16_t product_id = 0;
  bool strings_in_sysfs = true;
  std::string serial = {};
  std::string product = {};

  int bus = 0;
  int number = 0;
  bool gone = false;
  std::list<Fault> faults = {};

  /// "/dev/bus/usb/001/002"
  std::string node() const;
  /// The action that `operation` meets, or "". Counts.
  std::string take_fault(const std::string& operation);
};

/// The device descriptor and the configuration's, as sysfs and usbfs show them.
std::vector<std::uint8_t> descriptors_of(const Device& device);

/// How a control transfer ends.
struct Answer {
  std::string operation;           ///< as it is reported
  std::string result = "ok";       ///< likewise
  int status = 0;                  ///< 0 or a negative errno value
  bool never = false;              ///< no end until it is discarded or the device leaves
  bool leaves = false;             ///< the device goes away
  std::vector<std::uint8_t> data;  ///< for the host
};

/// @param transfer  the eight bytes of the setup packet and what the host sends after them
Answer answer_control(Device& device, std::span<const std::uint8_t> transfer);

}  // namespace emulator

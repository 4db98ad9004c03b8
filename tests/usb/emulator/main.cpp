// Emulates Apple's devices in Recovery and DFU for an unmodified program in another process, over
// umockdev: a /sys, a /dev/bus/usb and uevents, and the kernel's answers to usbfs ioctls. So a test
// goes through the real libusb.
//
// Start it with libumockdev-preload.so.0 in LD_PRELOAD: its uevents come from libudev, which has to
// see the emulated /sys. The first line that it prints is UMOCKDEV_DIR=FOLDER; a program with that
// in its environment and the same LD_PRELOAD sees the emulated machine. A sanitizer's runtime goes
// before the preload library. One program at a time: umockdev names the socket for uevents by its
// descriptor number, so a second one would take the first one's.
//
// Each line on standard input is a command, answered by "done" or "error TEXT" when it has worked:
//
//   add PORT MODE [KEY=VALUE]...  plugs a device in. PORT is the name in sysfs: 1-1, 1-2.3. MODE is
//                                 recovery, dfu or other. KEY is vendor-id or product-id (hexa-
//                                 decimal), ecid (in the usual serial string), serial, product
//                                 (%20 for a blank), sysfs=no (the strings are not in sysfs)
//   remove PORT                   unplugs it
//   fault PORT ACTION COUNT OPERATION
//                                 the next COUNT operations (0: all) that begin with OPERATION end
//                                 in ACTION: stall, hang, garble (a protocol error), each perhaps
//                                 with -and-leave (the device is unplugged meanwhile); busy or
//                                 unconfigured for "claim"; for "open" swap: another device has
//                                 taken its place and no one was told
//   swap-serial PORT VALUE        the serial string of that other device (%20 for a blank)
//   after-reboot PORT MODE MS     how and when it comes back; MODE may be none. By itself it comes
//                                 back in Recovery after 200 ms unless auto-boot is saved as true
//   chmod PORT MODE               of the device node, octal. 0666 at first. Root is not stopped
//   environment PORT              prints the saved variables
//   sync                          does nothing: what was seen before it is printed before its
//   "done"
//
// Whatever a device sees is one line, "usb PORT OPERATION -> RESULT"; OPERATION is the text of a
// command, "string:INDEX", "open", "claim NUMBER", or what it didn't understand. The end of input
// ends the emulator.
#include <fmt/format.h>
#include <glib-unix.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>

#include "machine.h"
#include "usbfs.h"

namespace emulator {
namespace {

std::string with_blanks(const std::string& text) {
  std::string result = text;
  for (std::size_t at; (at = result.find("%20")) != result.npos;) result.replace(at, 3, " ");
  return result;
}

void set_ecid(Device& device, const std::string& ecid) {
  const std::string tag = "ECID:";
  const std::size_t at = device.serial.find(tag);
  if (at == device.serial.npos) throw std::invalid_argument("the device has no ECID");
  device.serial.replace(at + tag.size(), 16, ecid);
}

void set_property(Device& device, const std::string& key, const std::string& value) {
  if (key == "vendor-id")
    device.vendor_id = static_cast<std::uint16_t>(std::stoul(value, nullptr, 16));
  else if (key == "product-id")
    device.product_id = static_cast<std::uint16_t>(std::stoul(value, nullptr, 16));
  else if (key == "ecid")
    set_ecid(device, value);
  else if (key == "serial")
    device.serial = with_blanks(value);
  else if (key == "product")
    device.product = with_blanks(value);
  else if (key == "sysfs")
    device.strings_in_sysfs = value != "no";
  else
    throw std::invalid_argument("unknown key " + key);
}

void add(Machine& machine, const std::string& port, std::istream& words) {
  std::string mode, property;
  words >> mode;
  Device device = make_device(port, mode);
  while (words >> property) {
    const std::size_t equals = property.find('=');
    if (equals == property.npos) throw std::invalid_argument("no value in " + property);
    set_property(device, property.substr(0, equals), property.substr(equals + 1));
  }
  machine.plug(std::move(device));
}

void act_on(Machine& machine, const std::shared_ptr<Device>& device, const std::string& command,
            std::istream& words) {
  if (command == "remove") return machine.unplug(device);
  const std::lock_guard<std::mutex> lock(machine.mutex);
  if (command == "fault") {
    Fault fault;
    words >> fault.action >> fault.left >> std::ws;
    std::getline(words, fault.operation);
    device->faults.push_back(fault);
  } else if (command == "swap-serial") {
    words >> device->serial_after_swap;
    device->serial_after_swap = with_blanks(device->serial_after_swap);
  } else if (command == "after-reboot") {
    words >> device->returns_as >> device->returns_after_ms;
  } else if (command == "chmod") {
    unsigned int mode = 0;
    words >> std::oct >> mode;
    machine.set_node_mode(*device, mode);
  } else if (command == "environment") {
    for (const auto& [name, value] : device->saved_environment)
      fmt::print("saved {} {}={}\n", device->port, name, value);
  } else {
    throw std::invalid_argument("unknown command " + command);
  }
}

void run_line(Machine& machine, const std::string& line) {
  try {
    std::istringstream words(line);
    std::string command, port;
    words >> command >> port;
    if (command == "add") {
      add(machine, port, words);
    } else if (command != "sync") {
      const std::shared_ptr<Device> device = machine.at_port(port);
      if (!device) throw std::invalid_argument("no device at " + port);
      act_on(machine, device, command, words);
    }
    fmt::print("done\n");
  } catch (const std::exception& failure) {
    fmt::print("error {}\n", failure.what());
  }
}

/// Standard input, cut into lines.
struct Input {
  Machine& machine;
  GMainLoop* main_loop;
  std::string buffer;
};

gboolean on_input(gint fd, GIOCondition, gpointer data) {
  Input& input = *static_cast<Input*>(data);
  char bytes[4096];
  const ssize_t count = read(fd, bytes, sizeof bytes);
  if (count <= 0) {
    g_main_loop_quit(input.main_loop);
    return G_SOURCE_REMOVE;
  }
  input.buffer.append(bytes, static_cast<std::size_t>(count));
  for (std::size_t end; (end = input.buffer.find('\n')) != input.buffer.npos;) {
    const std::string line = input.buffer.substr(0, end);
    input.buffer.erase(0, end + 1);
    run_line(input.machine, line);
  }
  return G_SOURCE_CONTINUE;
}

int run() {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  umask(0);  // other users may use the nodes and the sockets
  Usbfs usbfs;
  Machine machine(usbfs.handler());
  if (!umockdev_in_mock_environment()) {
    fmt::print(stderr, "start the emulator with LD_PRELOAD=libumockdev-preload.so.0\n");
    return 2;
  }
  usbfs.serve(machine);
  fmt::print("UMOCKDEV_DIR={}\n", std::getenv("UMOCKDEV_DIR"));
  GMainLoop* const main_loop = g_main_loop_new(/*context=*/nullptr, /*is_running=*/FALSE);
  Input input{machine, main_loop, ""};
  g_unix_fd_add(STDIN_FILENO, static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), on_input, &input);
  g_main_loop_run(main_loop);
  g_main_loop_unref(main_loop);
  return 0;
}

}  // namespace
}  // namespace emulator

int main() { return emulator::run(); }

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
//   add PORT VENDOR PRODUCT SYSFS SERIAL|NAME
//                   plugs a device in. PORT is the name in sysfs: 1-1, 1-2.3. VENDOR and PRODUCT
//                   are hexadecimal; SYSFS is 1 if the strings SERIAL and NAME are in sysfs, or 0
//   remove PORT     unplugs it
//   fault PORT COUNT OPERATION|ACTION
//                   the next COUNT operations (0: all) that begin with OPERATION end in ACTION:
//                   stall, hang, garble (a protocol error), each perhaps with -and-leave (the
//                   device is unplugged meanwhile); busy or unconfigured for "claim"; swap SERIAL
//                   for "open": another device has taken its place and no one was told
//   sync            does nothing: what was seen before it is printed before its "done"
//
// A device that is sent "reboot" leaves. Whatever a device sees is one line, "usb PORT OPERATION ->
// RESULT"; OPERATION is the text of a command, "string:INDEX", "open", "claim NUMBER", or what it
// didn't understand. The end of input ends the emulator.
#include <fmt/format.h>
#include <glib-unix.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string>

#include "machine.h"
#include "usbfs.h"

namespace emulator {
namespace {

void add(Machine& machine, const std::string& port, std::istream& words) {
  Device device{port};
  words >> std::hex >> device.vendor_id >> device.product_id >> device.strings_in_sysfs >> std::ws;
  std::getline(words, device.serial, '|');
  std::getline(words, device.product);
  machine.plug(std::move(device));
}

void add_fault(Machine& machine, Device& device, std::istream& words) {
  Fault fault;
  words >> fault.left >> std::ws;
  std::getline(words, fault.operation, '|');
  std::getline(words, fault.action);
  const std::lock_guard<std::mutex> lock(machine.mutex);
  device.faults.push_back(fault);
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
      if (command == "remove")
        machine.unplug(device);
      else if (command == "fault")
        add_fault(machine, *device, words);
      else
        throw std::invalid_argument("unknown command " + command);
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
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
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

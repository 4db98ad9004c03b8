#include "device.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>

namespace emulator {
namespace {

enum StringIndex : std::uint8_t { kManufacturer = 2, kProduct = 3, kSerial = 4 };

/// The parts of a setup packet (USB 2.0, section 9.3).
struct Setup {
  std::uint8_t type;
  std::uint8_t request;
  unsigned int value;
  unsigned int index;
  std::size_t length;
};

std::vector<std::uint8_t> string_descriptor(const std::string& text) {
  std::vector<std::uint8_t> result = {0, 3};
  for (const char c : text) {
    result.push_back(static_cast<std::uint8_t>(c));
    result.push_back(0);
  }
  result.resize(std::min<std::size_t>(result.size(), 254));
  result[0] = static_cast<std::uint8_t>(result.size());
  return result;
}

/// Names the operation and makes the answer of a device that is well.
void answer_well(Device& device, const Setup& setup, const std::string& sent, Answer& answer) {
  const bool is_string = setup.type == 0x80 && setup.request == 6 && setup.value >> 8 == 3;
  const bool is_command = setup.type == 0x40 && setup.request == 0 && setup.value == 0 &&
                          setup.index == 0 && device.product_id >= 0x1280 && !sent.empty() &&
                          sent.back() == '\0';
  if (is_string) {
    const unsigned int index = setup.value & 0xff;
    answer.operation = fmt::format("string:{}", index);
    const std::string& text = index == kSerial ? device.serial : device.product;
    answer.data = string_descriptor(text);
    answer.data.resize(std::min(answer.data.size(), setup.length));
  } else if (is_command) {
    answer.operation = sent.substr(0, sent.size() - 1);
  } else {
    answer.operation =
        fmt::format("control {:02x}:{:02x} value={:04x} index={:04x} length={}", setup.type,
                    setup.request, setup.value, setup.index, setup.length);
    answer.result = "stall";
  }
}

}  // namespace

std::string Device::node() const { return fmt::format("/dev/bus/usb/{:03}/{:03}", bus, number); }

std::string Device::take_fault(const std::string& operation) {
  const auto found = std::find_if(faults.begin(), faults.end(), [&](const Fault& fault) {
    return operation.starts_with(fault.operation);
  });
  if (found == faults.end()) return "";
  const std::string action = found->action;
  if (found->left == 1)
    faults.erase(found);
  else if (found->left > 1)
    --found->left;
  return action;
}

std::vector<std::uint8_t> descriptors_of(const Device& device) {
  const auto low = [](std::uint16_t number) { return static_cast<std::uint8_t>(number); };
  const auto high = [](std::uint16_t number) { return static_cast<std::uint8_t>(number >> 8); };
  return {// device: USB 2.0, three strings, one configuration
          18, 1, 0, 2, 0, 0, 0, 64, low(device.vendor_id), high(device.vendor_id),
          low(device.product_id), high(device.product_id), 0, 0, kManufacturer, kProduct, kSerial,
          1,
          // configuration 1 with one interface of the DFU class and no endpoint but the first
          9, 2, 18, 0, 1, 1, 0, 0xc0, 250, 9, 4, 0, 0, 0, 0xfe, 1, 0, 0};
}

Answer answer_control(Device& device, std::span<const std::uint8_t> transfer) {
  const auto word = [&](std::size_t at) { return transfer[at] | unsigned{transfer[at + 1]} << 8; };
  const Setup setup = {transfer[0], transfer[1], word(2), word(4), word(6)};
  const std::string sent(transfer.begin() + 8, transfer.end());
  Answer answer;
  answer_well(device, setup, setup.type & 0x80 ? "" : sent, answer);
  const std::string fault = device.take_fault(answer.operation);
  if (!fault.empty()) answer.result = fault;
  if (answer.result == "ok") {
    answer.leaves = answer.operation == "reboot";
    return answer;
  }
  answer.data.clear();
  answer.never = fault.starts_with("hang");
  answer.status = fault.starts_with("garble") ? -EPROTO : -EPIPE;
  answer.leaves = fault.ends_with("-and-leave");
  return answer;
}

}  // namespace emulator

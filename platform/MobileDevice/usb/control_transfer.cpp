#include "control_transfer.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "libusb_handles.h"

namespace MobileDevice::usb {
namespace {

constexpr unsigned int kTimeoutMilliseconds = 2000;

/// The data that the waiting thread shares with the thread of the event loop.
struct Completion {
  std::mutex mutex;
  std::condition_variable changed;
  bool done = false;

  void wait() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return done; });
  }

  void signal() {
    const std::lock_guard<std::mutex> lock(mutex);
    done = true;
    // Still locked: the waiter destroys this object as soon as it has the lock.
    changed.notify_all();
  }
};

void LIBUSB_CALL on_completion(libusb_transfer* transfer) {
  static_cast<Completion*>(transfer->user_data)->signal();
}

int result_of(const libusb_transfer& transfer) {
  switch (transfer.status) {
    case LIBUSB_TRANSFER_COMPLETED:
      return transfer.actual_length;
    case LIBUSB_TRANSFER_TIMED_OUT:
      return LIBUSB_ERROR_TIMEOUT;
    case LIBUSB_TRANSFER_STALL:
      return LIBUSB_ERROR_PIPE;
    case LIBUSB_TRANSFER_NO_DEVICE:
      return LIBUSB_ERROR_NO_DEVICE;
    default:
      return LIBUSB_ERROR_IO;
  }
}

}  // namespace

int control_transfer(libusb_device_handle* opened, const ControlRequest& request,
                     std::span<std::uint8_t> data) {
  std::vector<std::uint8_t> buffer(LIBUSB_CONTROL_SETUP_SIZE + data.size());
  libusb_fill_control_setup(buffer.data(), request.request_type, request.request, request.value,
                            request.index, static_cast<std::uint16_t>(data.size()));
  const auto payload = buffer.begin() + LIBUSB_CONTROL_SETUP_SIZE;
  std::copy(data.begin(), data.end(), payload);

  const Transfer transfer(libusb_alloc_transfer(/*iso_packets=*/0));
  if (!transfer) return LIBUSB_ERROR_NO_MEM;
  Completion completion;
  libusb_fill_control_transfer(transfer.get(), opened, buffer.data(), on_completion, &completion,
                               kTimeoutMilliseconds);
  if (const int error = libusb_submit_transfer(transfer.get()); error != 0) return error;
  completion.wait();

  const int result = result_of(*transfer);
  if (result > 0 && (request.request_type & LIBUSB_ENDPOINT_IN) != 0)
    std::copy_n(payload, result, data.begin());
  return result;
}

}  // namespace MobileDevice::usb

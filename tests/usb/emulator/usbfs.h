/// Answers the ioctls that programs make on device nodes, in the kernel's place; see
/// linux/usbdevice_fs.h and the kernel's documentation of usbfs.
#pragma once

#include <umockdev.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "machine.h"

namespace emulator {

class Usbfs {
 public:
  /// A request to transfer that was submitted and not yet reaped.
  struct Urb {
    Owned<UMockdevIoctlData> data;
    Owned<UMockdevIoctlClient> client;
    std::shared_ptr<Device> device;
    Answer answer;
    int transferred;
  };

  Usbfs();

  UMockdevIoctlBase* handler() const { return handler_.get(); }
  /// From now on ioctls find their devices on `machine`.
  void serve(Machine& machine) { machine_ = &machine; }

 private:
  static gboolean on_ioctl(UMockdevIoctlBase* handler, UMockdevIoctlClient* client, gpointer self);
  /// 0 or an errno value.
  int answer(UMockdevIoctlClient* client);
  int capabilities(Device& device, UMockdevIoctlData* argument);
  int claim(Device& device, UMockdevIoctlData* argument);
  int submit(const std::shared_ptr<Device>& device, UMockdevIoctlClient* client);
  int reap(const Device& device, UMockdevIoctlClient* client);
  int discard(const Device& device, UMockdevIoctlClient* client);

  Owned<UMockdevIoctlBase> handler_;
  Machine* machine_ = nullptr;
  std::list<Urb> urbs_;  // of the thread that answers; those of ended programs stay
};

}  // namespace emulator

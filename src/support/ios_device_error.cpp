#include "support/ios_device_error.h"

#include <string>

namespace TY::SharedSupport::ios_device {
namespace {

class libtorrin_error_category final : public boost::system::error_category {
 public:
  const char* name() const noexcept override { return "libtorrin"; }

  std::string message(int ev) const override {
    switch (static_cast<errc>(ev)) {
      case errc::success:
        return "success";
      case errc::usb_communication_failed:
        return "USB communication failed";
      case errc::device_invalid_state:
        return "Device entered invalid state";
    }
    return "unknown error";
  }
};

constinit const libtorrin_error_category err_cat;

}  // namespace

boost::system::error_code make_error_code(errc e) {
  return boost::system::error_code(static_cast<int>(e), err_cat);
}

}  // namespace TY::SharedSupport::ios_device

#pragma once

#include <boost/system/error_code.hpp>

namespace TY::SharedSupport::ios_device {

/// Errors of the communication with a device.
enum class errc : int {
  success = 0,
  usb_communication_failed = 1,
  device_invalid_state = 2,
};

/// In the category "libtorrin".
boost::system::error_code make_error_code(errc e);

}  // namespace TY::SharedSupport::ios_device

template <>
struct boost::system::is_error_code_enum<TY::SharedSupport::ios_device::errc> : std::true_type {};

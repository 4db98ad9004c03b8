#include "support/file_error.h"

#include <gtest/gtest.h>

#include "support/ios_device_error.h"

namespace {

namespace generic = boost::system::errc;
using boost::system::error_condition;

TEST(ErrorCategories, NameTheirCodes) {
  const boost::system::error_code file_success = make_error_code(TY::file::errc::success);
  const boost::system::error_category& file = file_success.category();
  const struct {
    int code;
    const char* message;
    error_condition condition;
  } codes[] = {
      {-1, "Unknown error -1", {-1, file}},
      {0, "Success", {0, file}},
      {1, "File is too large to fit into the buffer", generic::not_enough_memory},
      {2, "Could not allocate buffer for file", generic::not_enough_memory},
      {3, "Could not obtain file lock", generic::resource_unavailable_try_again},
      {4, "Unknown error 4", {4, file}},
  };
  for (const auto& [code, message, condition] : codes) {
    EXPECT_EQ(file.message(code), message);
    EXPECT_EQ(file.default_error_condition(code), condition) << code;
  }
  EXPECT_STREQ(file.name(), "TY::file");
  EXPECT_FALSE(file_success.failed());

  const boost::system::error_code device_success =
      make_error_code(TY::SharedSupport::ios_device::errc::success);
  const boost::system::error_category& device = device_success.category();
  EXPECT_STREQ(device.name(), "libtorrin");
  const char* const messages[] = {"unknown error", "success", "USB communication failed",
                                  "Device entered invalid state", "unknown error"};
  for (int code = -1; code < 4; ++code) EXPECT_EQ(device.message(code), messages[code + 1]);
}

}  // namespace

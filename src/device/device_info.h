#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "support/ecid.h"
#include "support/serial_number.h"

namespace korvrestore {

/// The identity of one device.
struct device_info {
  TY::ecid ecid;
  std::uint16_t productID;
  std::uint32_t boardID;
  std::uint32_t chipID;
  std::uint32_t productType;
  std::uint32_t fusingInfo;
  std::uint32_t locationID;
  std::optional<TY::serial_number> serialNumber;
  std::optional<std::string> productString;
  std::optional<std::string> description;
};

/// A new dictionary with a key for each field that has a value; the caller releases it. Numbers are
/// stored signed: product IDs from 0x8000 and other numbers from 0x80000000 are negative.
CFMutableDictionaryRef make_cftype(const device_info& info) noexcept;

/// A new array of the ECIDs' texts in the given order; the caller releases it.
CFMutableArrayRef make_cftype(std::span<const TY::ecid> ecids) noexcept;

}  // namespace korvrestore

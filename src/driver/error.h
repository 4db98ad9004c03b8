#pragma once

#include <cstdint>
#include <string>

#include "support/cf_type_deleter.h"

namespace korvrestore {

/// The codes of the tool's errors, which are also its exit statuses. A tool error is a CFError of
/// the domain "korvrestore" with one of these codes, thrown by value in its owning handle,
/// `cf_error`.
enum class Error : std::int32_t {
  NoError = 0,
  UnknownError = 1,
  InvalidArgument = 2,
  BadCommand = 3,
  BadEcid = 4,
  DeviceBadState = 5,
  RecoveryCommandFailed = 6,
  RestoreTimeout = 7,
  ReadError = 8,
};

/// The fixed description of a code; "Unknown error" for any other number. A constant: don't release
/// it.
CFStringRef ErrorDescription(Error code) noexcept;

/// A new tool error with the code's description and `reason` as its failure reason. In a reason
/// that isn't UTF-8, each byte beyond ASCII becomes a question mark.
cf_error CreateDomainError(Error code, const std::string& reason) noexcept;

/// The exit status for an error of any domain: the lowest 32 bits of its code if they are one of
/// the tool's codes, else 1; 0 for NULL.
int GetCode(CFErrorRef error) noexcept;

}  // namespace korvrestore

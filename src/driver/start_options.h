#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace korvrestore {

/// The parsed command line, with one field for each option. The field of an absent option is false
/// or empty. Texts are as typed.
struct start_options {
  bool debug = false;
  bool debug_dump = false;
  bool help = false;
  bool no_cleanup = false;  // accepted, without effect
  std::optional<std::string> amr_logfile;
  std::optional<std::uint32_t> detect_timeout;  // seconds
  std::optional<std::string> ecid_text;
  bool list_devices = false;
  bool show_device_info = false;
  bool exit_recovery = false;
  bool no_exit_recovery = false;
  std::optional<std::string> restore_ipsw;
  std::optional<std::uint32_t> restore_timeout;  // seconds
  bool erase = false;
  std::optional<std::string> restore_plist;
  bool enter_restore_mode = false;
  std::optional<std::int64_t> output_pipe;  // a descriptor number
};

}  // namespace korvrestore

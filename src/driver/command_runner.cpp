#include "driver/command_runner.h"

#include <chrono>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "device/RestorableDeviceHandler.h"
#include "driver/error.h"
#include "driver/program_options_error.h"
#include "output/MobileDeviceDebug.h"
#include "support/file.h"
#include "text/format.h"

namespace korvrestore {
namespace {

constexpr std::uint64_t largest_restore_options = std::uint64_t{1} << 30;  // bytes

[[noreturn]] void refuse(const std::string& reason) {
  throw CreateDomainError(Error::BadCommand, reason);
}

device_notifier_state::duration seconds(std::uint32_t count) { return std::chrono::seconds(count); }

void require_ecid(const start_options& options, const char* command) {
  if (!options.ecid_text) refuse(text::format("Option --{} requires --{}", command, "ecid"));
}

void require_restore(const start_options& options, const char* option) {
  if (!options.restore_ipsw)
    refuse(text::format("Option --{} only compatible with --{}", option, "restore"));
}

void set_command(device_notifier_state& session, command_kind kind, const char* name) {
  session.operation = kind;
  session.commandName = name;
}

TY::ecid parse_ecid(const std::string& text) {
  try {
    return TY::ecid(std::string_view(text));
  } catch (const std::invalid_argument&) {
    throw CreateDomainError(Error::InvalidArgument, "Invalid ecid");
  }
}

cf_dictionary parse_restore_options(const std::vector<unsigned char>& bytes) {
  if (bytes.empty()) throw std::invalid_argument("Empty file");
  const cf_data data(CFDataCreateWithBytesNoCopy(
      kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
  if (!data) throw std::runtime_error("Bad alloc");
  cf_object parsed(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                kCFPropertyListImmutable, nullptr, nullptr));
  if (!parsed || CFGetTypeID(parsed.get()) != CFDictionaryGetTypeID())
    throw std::invalid_argument("Invalid format");
  return cf_dictionary(static_cast<CFDictionaryRef>(parsed.release()));
}

cf_dictionary load_restore_options(const std::string& path) {
  try {
    std::vector<unsigned char> bytes;
    {
      TY::file::readable_file file(path);
      bytes = file.read_whole_file_impl(largest_restore_options);
    }
    return parse_restore_options(bytes);
  } catch (const std::exception& error) {
    throw CreateDomainError(Error::ReadError,
                            text::format("Cannot open file '{}' - {}", path, error.what()));
  }
}

/// The first command in this order decides; the others are ignored.
void choose_command(const start_options& options, device_notifier_state& session) {
  if (options.list_devices) {
    if (options.ecid_text)
      refuse(text::format("Option --{} not compatible with --{}", "list-devices", "ecid"));
    set_command(session, command_kind::list_devices, "list-devices");
  } else if (options.show_device_info) {
    require_ecid(options, "device-info");
    set_command(session, command_kind::device_info, "device-info");
  } else if (options.exit_recovery) {
    require_ecid(options, "exit-recovery");
    set_command(session, command_kind::exit_recovery, "exit-recovery");
  } else if (options.no_exit_recovery) {
    require_ecid(options, "no-exit-recovery");
    set_command(session, command_kind::no_exit_recovery, "no-exit-recovery");
  } else if (options.restore_ipsw) {
    require_ecid(options, "restore");
    set_command(session, command_kind::restore, "restore");
    if (options.restore_ipsw->empty()) refuse("Missing restore IPSW path");
    session.CreateDefaultRestoreOptions(TY::filesystem::path(*options.restore_ipsw), options.erase);
    if (options.enter_restore_mode) session.operation = command_kind::enter_restore_mode;
  } else if (options.restore_plist) {
    require_ecid(options, "restore-plist");
    set_command(session, command_kind::restore, "restore-plist");
    session.restoreOptions = load_restore_options(*options.restore_plist);
    if (options.enter_restore_mode) session.operation = command_kind::enter_restore_mode;
  } else {
    refuse("Invalid command option");
  }
}

void configure(const start_options& options, device_notifier_state& session) {
  if (options.detect_timeout) session.detectTimeout = seconds(*options.detect_timeout);
  if (options.ecid_text) session.ecid = parse_ecid(*options.ecid_text);
  if (options.erase) require_restore(options, "erase");
  if (options.restore_timeout) {
    require_restore(options, "restore-timeout");
    session.restoreTimeout = seconds(*options.restore_timeout);
  }
  choose_command(options, session);
}

void run(const start_options& options,
         const boost::program_options::options_description& description,
         const std::shared_ptr<output_str_state>& output) {
  if (options.debug) output->set_debug(true);
  if (options.help) {
    std::ostringstream text;
    description.print(text, /*width=*/0);
    output->set_debug(true);
    output->print_debug(text.str());
    return;
  }
  if (options.debug_dump) {
    output->set_debug(true);
    print_imp_AMRLocalizedCopyStringForAMROperation(output);
    print_imp_AMRLocalizedCopyStringForAMRError(output);
    return;
  }

  std::optional<TY::filesystem::path> log_file;
  if (options.amr_logfile) log_file.emplace(*options.amr_logfile);
  const std::shared_ptr<device_notifier_state> session =
      std::make_shared<device_notifier_state>(output, log_file, /*scratchOverride=*/std::nullopt);
  configure(options, *session);
  session->waitForCompletion();
}

int report(const cf_error& error, output_str_state& output) {
  output.print_formatted_error(error.get());
  return GetCode(error.get());
}

}  // namespace

int runProgramMain(const start_options& options,
                   const boost::program_options::options_description& description,
                   std::shared_ptr<output_str_state> output) {
  try {
    run(options, description, output);
    return static_cast<int>(Error::NoError);
  } catch (const cf_error& error) {
    return report(error, *output);
  } catch (std::exception& error) {
    return report(error_from_exception(error), *output);
  }
}

}  // namespace korvrestore

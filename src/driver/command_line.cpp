#include "driver/command_line.h"

#include <fcntl.h>

#include <boost/lexical_cast/try_lexical_convert.hpp>
#include <boost/program_options/errors.hpp>
#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>
#include <boost/program_options/value_semantic.hpp>
#include <boost/program_options/variables_map.hpp>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "driver/error.h"
#include "driver/program_options_error.h"
#include "support/file.h"

namespace korvrestore {
namespace {

namespace po = boost::program_options;

/// A value that is stored in `field` if its option is given.
template <typename Value>
po::typed_value<Value>* stored_in(std::optional<Value>& field) {
  return po::value<Value>()->notifier([&field](const Value& value) { field = value; });
}

/// Parsed here because Boost wraps a negative number to a large unsigned one.
struct typed_seconds {
  std::uint32_t count;
};

void validate(boost::any& value, const std::vector<std::string>& texts, typed_seconds*, int) {
  po::validators::check_first_occurrence(value);
  const std::string& text = po::validators::get_single_string(texts);
  std::int64_t count = 0;
  if (!boost::conversion::try_lexical_convert(text, count) || !std::in_range<std::uint32_t>(count))
    throw po::invalid_option_value(text);
  value = typed_seconds{static_cast<std::uint32_t>(count)};
}

po::typed_value<typed_seconds>* seconds_stored_in(std::optional<std::uint32_t>& field) {
  return po::value<typed_seconds>()->notifier(
      [&field](const typed_seconds& seconds) { field = seconds.count; });
}

po::options_description describe(start_options& options) {
  po::options_description description("Program options");
  po::options_description_easy_init add = description.add_options();
  add("debug", po::bool_switch(&options.debug), "Enable debugging output");
  add("debug-dump", po::bool_switch(&options.debug_dump),
      "Dump mobiledevice implementations (debugging)");
  add("help", po::bool_switch(&options.help), "Print this description");
  add("no-cleanup", po::bool_switch(&options.no_cleanup), "Disable auto temp file cleanup on exit");
  add("amr-logfile", stored_in(options.amr_logfile), "Specify logfile for AMRestore");
  add("ecid", stored_in(options.ecid_text), "Device to perform operation on");
  add("detect-timeout", seconds_stored_in(options.detect_timeout),
      "How many seconds to wait for the selected device to be detected");
  add("list-devices", po::bool_switch(&options.list_devices), "List all detected Apple devices");
  add("device-info", po::bool_switch(&options.show_device_info),
      "Output properties of specified Apple device");
  add("exit-recovery", po::bool_switch(&options.exit_recovery),
      "Attempt to reboot a recovery device into booted mode");
  add("no-exit-recovery", po::bool_switch(&options.no_exit_recovery),
      "Set a device to stay in recovery mode when it reboots");
  add("restore", stored_in(options.restore_ipsw),
      "Start a device restore with specified IPSW bundle");
  add("restore-timeout", seconds_stored_in(options.restore_timeout),
      "How many seconds to wait for a restore to complete before aborting");
  add("erase", po::bool_switch(&options.erase),
      "Use with --restore to force the device to be erased during the restore");
  add("restore-plist", stored_in(options.restore_plist),
      "Start a device restore with options read from a plist file");
  add("enter-restore-mode", po::bool_switch(&options.enter_restore_mode),
      "Attempt to put a recovery mode device into restore mode");
  add("output-pipe", stored_in(options.output_pipe), "Send formatted output to a specific pipe");
  return description;
}

cf_error parse(int argc, const char** argv, const po::options_description& description) {
  try {
    po::variables_map values;
    // Without a list of positional options Boost would ignore stray words.
    const po::positional_options_description none;
    po::store(po::command_line_parser(argc, argv).options(description).positional(none).run(),
              values);
    po::notify(values);
    return nullptr;
  } catch (const std::length_error& error) {
    return CreateDomainError(Error::BadCommand, error.what());
  } catch (std::exception& error) {
    return error_from_exception(error);
  }
}

/// A failure to write is ignored: the log is informational.
void begin_log_with_command_line(const std::string& log_file, int argc, const char** argv) {
  boost::system::error_code ec;
  TY::file::writable_file log = TY::file::writable_file::create_new(log_file, ec);
  if (ec) return;
  std::string line = argv[0];
  for (int i = 1; i < argc; ++i) line.append(" ").append(argv[i]);
  line += '\n';
  log.write(line, ec);
}

/// Whether messages can be written. If the descriptor of --output-pipe isn't open, no file may be
/// opened: it could get that number, and be taken for the output until the first write fails.
bool output_is_open(const start_options& options) {
  if (!options.output_pipe || !std::in_range<int>(*options.output_pipe)) return true;
  return ::fcntl(static_cast<int>(*options.output_pipe), F_GETFD) >= 0;
}

}  // namespace

std::tuple<start_options, po::options_description, cf_error> parse_arguments(int argc,
                                                                             const char** argv) {
  start_options options;
  const po::options_description description = describe(options);
  cf_error error = parse(argc, argv, description);
  if (options.amr_logfile && argv[0] != nullptr && output_is_open(options))
    begin_log_with_command_line(*options.amr_logfile, argc, argv);
  return {options, description, std::move(error)};
}

}  // namespace korvrestore

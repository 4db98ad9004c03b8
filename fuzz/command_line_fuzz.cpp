#include <string>
#include <vector>

#include "driver/command_line.h"
#include "driver/error.h"
#include "fuzz/target.h"

namespace {

/// The words of a command line, one in each line.
std::vector<std::string> words_of(std::string_view input) {
  std::vector<std::string> words = {"korvrestore"};
  while (!input.empty()) {
    const std::size_t end = std::min(input.find('\n'), input.size());
    words.emplace_back(input.substr(0, end));
    input.remove_prefix(std::min(end + 1, input.size()));
  }
  return words;
}

}  // namespace

void fuzz::run(std::string_view input) {
  // The target may create a log file, but only in its working directory.
  if (input.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) return;
  const std::vector<std::string> words = words_of(input);
  std::vector<const char*> arguments;
  for (const std::string& word : words) arguments.push_back(word.c_str());
  arguments.push_back(nullptr);

  const auto [options, description, error] =
      korvrestore::parse_arguments(static_cast<int>(words.size()), arguments.data());
  if (!error) return;
  const int code = korvrestore::GetCode(error.get());
  require(code >= 1 && code <= 3, "a refused command line has one of its codes");
  require(!options.ecid_text && !options.list_devices, "after an error no option is set");
}

#include "driver/program_options_error.h"

#include <algorithm>
#include <boost/program_options/errors.hpp>
#include <string>

#include "driver/error.h"
#include "text/format.h"

namespace korvrestore {

namespace po = boost::program_options;

namespace {

/// Gives access to the member in which an error keeps the words of the command line for its text.
struct error_words : po::error_with_option_name {
  static constexpr auto member = &error_words::m_substitutions;
};

/// Boost replaces placeholders, such as "%value%", by words of the command line until its text has
/// no placeholder left. A word that contains one would keep it busy until memory runs out. So a
/// character that no word contains replaces the per cent signs of words while Boost creates the
/// text.
std::string text_of(std::exception& exception) {
  auto* const error = dynamic_cast<po::error_with_option_name*>(&exception);
  if (error == nullptr) return exception.what();
  auto& words = error->*error_words::member;
  const auto is_used = [&](char character) {
    return std::any_of(words.begin(), words.end(), [&](const auto& entry) {
      return entry.second.find(character) != std::string::npos;
    });
  };
  char replacement = '\x01';
  while (replacement < '\x1f' && is_used(replacement)) ++replacement;
  for (auto& [placeholder, word] : words) std::replace(word.begin(), word.end(), '%', replacement);
  std::string text = error->what();
  std::replace(text.begin(), text.end(), replacement, '%');
  return text;
}

}  // namespace

cf_error error_from_exception(std::exception& exception) {
  if (const auto* multiple = dynamic_cast<const po::multiple_occurrences*>(&exception)) {
    return CreateDomainError(
        Error::BadCommand,
        text::format("Option '{}' may only be specified once", multiple->get_option_name()));
  }
  if (dynamic_cast<const po::unknown_option*>(&exception) != nullptr)
    return CreateDomainError(Error::BadCommand, text_of(exception));
  if (dynamic_cast<const po::invalid_option_value*>(&exception) != nullptr)
    return CreateDomainError(Error::InvalidArgument, text_of(exception));
  return CreateDomainError(Error::UnknownError, text_of(exception));
}

}  // namespace korvrestore

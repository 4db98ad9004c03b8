#include "driver/program_options_error.h"

#include <fmt/format.h>

#include <boost/program_options/errors.hpp>

#include "driver/error.h"

namespace korvrestore {

namespace po = boost::program_options;

cf_error error_from_exception(const std::exception& exception) {
  if (const auto* multiple = dynamic_cast<const po::multiple_occurrences*>(&exception))
    return CreateDomainError(
        Error::BadCommand,
        fmt::format("Option '{}' may only be specified once", multiple->get_option_name()));
  if (dynamic_cast<const po::unknown_option*>(&exception) != nullptr)
    return CreateDomainError(Error::BadCommand, exception.what());
  if (dynamic_cast<const po::invalid_option_value*>(&exception) != nullptr)
    return CreateDomainError(Error::InvalidArgument, exception.what());
  return CreateDomainError(Error::UnknownError, exception.what());
}

}  // namespace korvrestore

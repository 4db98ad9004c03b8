#include "support/filesystem.h"

#include <boost/filesystem/path.hpp>

static_assert(BOOST_FILESYSTEM_VERSION == 4);

namespace TY::filesystem {

path path::operator/(const std::string& right) const {
  return path((boost::filesystem::path(native_) / right).string());
}

}  // namespace TY::filesystem

#include "personalized_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "plist_file.h"
#include "text/format.h"

namespace MobileDevice::simulator {

std::string path_option(CFDictionaryRef options, const char* key) {
  const CFStringRef path = cast<CFStringRef>(
      CFDictionaryGetValue(options, make_cfstring(key).get()), CFStringGetTypeID());
  std::string text = path == nullptr ? "" : to_text(path);
  if (text.empty() || text.find('\0') != std::string::npos) {
    throw Failure(FailureCode::kOptions,
                  text::format("restore options: {}: expected a path, a string", key));
  }
  return text;
}

PersonalizedFolder::PersonalizedFolder(CFDictionaryRef options) {
  try {
    path_ = path_option(options, "PersonalizedRestoreBundlePath");
  } catch (const Failure& failure) {
    unusable_ = failure;
    return;
  }
  std::error_code ignored;
  for (std::filesystem::path missing = path_;
       !missing.empty() && !std::filesystem::exists(missing, ignored);
       missing = missing.parent_path())
    created_.push_back(missing);
  std::filesystem::create_directories(path_, not_created_);
  if (not_created_) return;
  descriptor_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor_ < 0) not_created_.assign(errno, std::generic_category());
}

PersonalizedFolder::~PersonalizedFolder() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void PersonalizedFolder::check_path() const {
  if (unusable_) throw *unusable_;
}

void PersonalizedFolder::write(CFDictionaryRef manifest) const {
  if (not_created_) {
    throw Failure(FailureCode::kPersonalizedBundle,
                  text::format("{}: {}", path_, not_created_.message()));
  }
  try {
    write_plist_file(manifest, descriptor_, "BuildManifest.plist");
  } catch (const std::runtime_error& failure) {
    throw Failure(FailureCode::kPersonalizedBundle, text::format("{}/{}", path_, failure.what()));
  }
}

void PersonalizedFolder::discard() const {
  for (const std::filesystem::path& folder : created_) ::rmdir(folder.c_str());
}

}  // namespace MobileDevice::simulator

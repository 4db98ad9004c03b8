/// The folder of the personalized bundle.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "../cf_values.h"
#include "failure.h"

namespace MobileDevice::simulator {

/// The path under `key` in restore options.
/// @throws Failure  there is none that can be used.
std::string path_option(CFDictionaryRef options, const char* key);

/// Creates the folder that restore options name, on the thread that starts the restore, and keeps
/// it open. The restore writes through the descriptor: after its client has removed the folder, it
/// can't create it again.
class PersonalizedFolder {
 public:
  explicit PersonalizedFolder(CFDictionaryRef options);
  PersonalizedFolder(const PersonalizedFolder&) = delete;
  PersonalizedFolder& operator=(const PersonalizedFolder&) = delete;
  ~PersonalizedFolder();

  /// @throws Failure  the options have no path that can be used.
  void check_path() const;
  /// Writes the manifest to a file in the folder.
  /// @throws Failure  also if the folder couldn't be created.
  void write(CFDictionaryRef manifest) const;
  /// Removes the folders that the constructor created, as far as they are empty.
  void discard() const;

 private:
  std::string path_;
  std::optional<Failure> unusable_;
  std::error_code not_created_;
  std::vector<std::filesystem::path> created_;  // the deepest first
  int descriptor_ = -1;
};

}  // namespace MobileDevice::simulator

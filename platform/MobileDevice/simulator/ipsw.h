/// Restore bundles: zip archives (IPSW) with a BuildManifest.plist.
#pragma once

#include <functional>
#include <string>

#include "plist_file.h"
#include "zip_archive.h"

namespace MobileDevice::simulator {

/// Uses an amount of memory that doesn't depend on the size of entries. Every function throws
/// Failure, which names the archive and the entry.
class Ipsw {
 public:
  explicit Ipsw(std::string file);

  /// Reads every entry to its end and so verifies its checksum. Calls `progress` from time to time
  /// with the share of the archive that has been read, 0 to 1.
  void verify(const std::function<void(double)>& progress);
  Plist build_manifest();

 private:
  void read(const ZipArchive::Entry& entry, const ZipArchive::Receiver& receive);

  const std::string file_;
  ZipArchive archive_;
};

}  // namespace MobileDevice::simulator

/// Restore bundles: zip archives (IPSW) with a BuildManifest.plist.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "plist_file.h"

struct zip;

namespace MobileDevice::simulator {

/// Reads in memory that doesn't grow with the archive. Everything throws Failure, which names the
/// archive and the entry.
class Ipsw {
 public:
  explicit Ipsw(std::string file);
  ~Ipsw();
  Ipsw(const Ipsw&) = delete;
  Ipsw& operator=(const Ipsw&) = delete;

  /// Reads every entry to its end and so verifies its checksum. `progress` hears now and then what
  /// share of the archive is read, 0 to 1.
  void verify(const std::function<void(double)>& progress) const;
  Plist build_manifest() const;

 private:
  void read_entry(std::uint64_t index,
                  const std::function<void(const UInt8* bytes, std::size_t size)>& receive) const;

  std::string file_;
  zip* archive_;
};

}  // namespace MobileDevice::simulator

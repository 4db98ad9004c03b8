#include "ipsw.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <vector>

#include "failure.h"
#include "text/format.h"

namespace MobileDevice::simulator {
namespace {

constexpr std::size_t kLargestManifest = 64 << 20;

[[noreturn]] void fail(FailureCode code, const std::string& file, const std::string& why) {
  throw Failure(code, text::format("{}: {}", file, why));
}

/// Overlapping entries make a small archive that takes hours to verify.
/// @throws std::runtime_error
void refuse_overlaps(std::vector<ZipArchive::Entry> entries) {
  constexpr std::size_t kLocalHeaderSize = 30;  // and the name
  std::sort(entries.begin(), entries.end(),
            [](const auto& a, const auto& b) { return a.offset < b.offset; });
  for (std::size_t i = 1; i < entries.size(); ++i) {
    const ZipArchive::Entry& entry = entries[i - 1];
    const std::uint64_t room = entries[i].offset - entry.offset;
    const std::uint64_t header = kLocalHeaderSize + entry.name.size();
    if (room < header || room - header < entry.packed_size)
      throw std::runtime_error("has entries that overlap");
  }
}

ZipArchive open_archive(const std::string& file) {
  try {
    ZipArchive archive(file);
    refuse_overlaps(archive.entries());
    return archive;
  } catch (const std::runtime_error& failure) {
    fail(FailureCode::kBundle, file, failure.what());
  }
}

}  // namespace

Ipsw::Ipsw(std::string file) : file_(std::move(file)), archive_(open_archive(file_)) {}

void Ipsw::verify(const std::function<void(double)>& progress) {
  double total = 0;
  for (const ZipArchive::Entry& entry : archive_.entries())
    total += static_cast<double>(entry.size);
  double done = 0;
  for (const ZipArchive::Entry& entry : archive_.entries()) {
    read(entry, [&](const std::uint8_t*, std::size_t size) {
      done += static_cast<double>(size);
      if (total > 0) progress(std::min(done / total, 1.0));
    });
  }
}

Plist Ipsw::build_manifest() {
  const std::vector<ZipArchive::Entry>& entries = archive_.entries();
  const auto found = std::find_if(entries.begin(), entries.end(), [](const auto& entry) {
    return entry.name == "BuildManifest.plist";
  });
  if (found == entries.end())
    fail(FailureCode::kBuildManifest, file_, "holds no BuildManifest.plist");
  std::vector<UInt8> bytes;
  read(*found, [&](const std::uint8_t* piece, std::size_t size) {
    bytes.insert(bytes.end(), piece, piece + size);
    if (bytes.size() > kLargestManifest)
      fail(FailureCode::kBuildManifest, file_, "BuildManifest.plist is larger than 64 MiB");
  });
  try {
    return parse_plist(bytes);
  } catch (const std::runtime_error& failure) {
    fail(FailureCode::kBuildManifest, file_,
         text::format("BuildManifest.plist: {}", failure.what()));
  }
}

void Ipsw::read(const ZipArchive::Entry& entry, const ZipArchive::Receiver& receive) {
  try {
    archive_.read(entry, receive);
  } catch (const Failure&) {
    throw;  // from the receiver
  } catch (const std::runtime_error& failure) {
    fail(FailureCode::kBundle, text::format("{}: {}", file_, entry.name), failure.what());
  }
}

}  // namespace MobileDevice::simulator

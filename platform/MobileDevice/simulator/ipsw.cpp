#include "ipsw.h"

#include <fmt/format.h>
#include <zip.h>

#include <algorithm>
#include <array>

#include "failure.h"

namespace MobileDevice::simulator {
namespace {

constexpr std::size_t kLargestManifest = 64 << 20;

struct CloseEntry {
  void operator()(zip_file_t* entry) const noexcept { zip_fclose(entry); }
};

[[noreturn]] void fail(FailureCode code, const std::string& file, const std::string& why) {
  throw Failure(code, fmt::format("{}: {}", file, why));
}

}  // namespace

Ipsw::Ipsw(std::string file) : file_(std::move(file)) {
  int code = 0;
  archive_ = zip_open(file_.c_str(), ZIP_RDONLY, &code);
  if (archive_ != nullptr) return;
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  const std::string why = zip_error_strerror(&error);
  zip_error_fini(&error);
  fail(FailureCode::kBundle, file_, why);
}

Ipsw::~Ipsw() { zip_discard(archive_); }

void Ipsw::verify(const std::function<void(double)>& progress) const {
  const std::uint64_t count = static_cast<std::uint64_t>(zip_get_num_entries(archive_, 0));
  double total = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    zip_stat_t about;
    if (zip_stat_index(archive_, i, 0, &about) == 0) total += static_cast<double>(about.size);
  }
  double done = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    read_entry(i, [&](const UInt8*, std::size_t size) {
      done += static_cast<double>(size);
      progress(std::min(done / total, 1.0));
    });
  }
}

Plist Ipsw::build_manifest() const {
  const std::int64_t index = zip_name_locate(archive_, "BuildManifest.plist", 0);
  if (index < 0) fail(FailureCode::kBuildManifest, file_, "holds no BuildManifest.plist");
  std::vector<UInt8> bytes;
  read_entry(static_cast<std::uint64_t>(index), [&](const UInt8* piece, std::size_t size) {
    bytes.insert(bytes.end(), piece, piece + size);
    if (bytes.size() > kLargestManifest)
      fail(FailureCode::kBuildManifest, file_, "BuildManifest.plist is larger than 64 MiB");
  });
  try {
    return parse_plist(bytes);
  } catch (const std::runtime_error& failure) {
    fail(FailureCode::kBuildManifest, file_,
         fmt::format("BuildManifest.plist: {}", failure.what()));
  }
}

void Ipsw::read_entry(std::uint64_t index,
                      const std::function<void(const UInt8*, std::size_t)>& receive) const {
  const char* const name = zip_get_name(archive_, index, 0);
  const std::string place = fmt::format("{}: {}", file_, name != nullptr ? name : "an entry");
  const std::unique_ptr<zip_file_t, CloseEntry> entry(zip_fopen_index(archive_, index, 0));
  if (entry == nullptr) fail(FailureCode::kBundle, place, zip_strerror(archive_));
  std::array<UInt8, 65536> buffer;
  for (;;) {
    const std::int64_t size = zip_fread(entry.get(), buffer.data(), buffer.size());
    if (size < 0) fail(FailureCode::kBundle, place, zip_file_strerror(entry.get()));
    if (size == 0) return;
    receive(buffer.data(), static_cast<std::size_t>(size));
  }
}

}  // namespace MobileDevice::simulator

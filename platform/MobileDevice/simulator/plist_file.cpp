#include "plist_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "text/format.h"

namespace MobileDevice::simulator {
namespace {

constexpr std::size_t kLargestFile = 64 << 20;
constexpr std::size_t kPiece = 65536;  // read at once

[[noreturn]] void fail(const std::string& file, const std::string& why) {
  throw std::runtime_error(text::format("{}: {}", file, why));
}

std::string system_text(int error) { return std::generic_category().message(error); }

/// CoreFoundation's text about a property list that it refused; releases `error`.
std::string why(CFErrorRef error) {
  if (error == nullptr) return "unknown error";
  const Owned<CFErrorRef> owner(error);
  const Owned<CFDictionaryRef> info(CFErrorCopyUserInfo(error));
  const CFStringRef details = cast<CFStringRef>(
      CFDictionaryGetValue(info.get(), CFSTR("NSDebugDescription")), CFStringGetTypeID());
  if (details != nullptr) return to_text(details);
  return to_text(Owned<CFStringRef>(CFErrorCopyDescription(error)).get());
}

std::vector<UInt8> read_file(const std::string& file) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::vector<UInt8> bytes;
  while (stream) {
    const std::size_t size = bytes.size();
    bytes.resize(size + kPiece);
    stream.read(reinterpret_cast<char*>(bytes.data() + size), kPiece);
    bytes.resize(size + static_cast<std::size_t>(stream.gcount()));
    if (bytes.size() > kLargestFile) fail(file, "larger than 64 MiB");
  }
  if (stream.eof()) return bytes;
  if (errno == EISDIR) fail(file, "is a directory, expected a property-list file");
  fail(file, system_text(errno));
}

bool write_all(int file, const UInt8* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(file, bytes, size);
    if (written < 0 && errno != EINTR) return false;
    if (written < 0) continue;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

Plist parse_plist(const std::vector<UInt8>& bytes) {
  const Owned<CFDataRef> data(CFDataCreateWithBytesNoCopy(
      kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
  Plist plist{};
  CFErrorRef error = nullptr;
  plist.value.reset(CFPropertyListCreateWithData(kCFAllocatorDefault, data.get(),
                                                 kCFPropertyListImmutable, &plist.format, &error));
  if (plist.value == nullptr) throw std::runtime_error("not a property list: " + why(error));
  return plist;
}

Plist read_plist_file(const std::string& file) {
  const std::vector<UInt8> bytes = read_file(file);
  try {
    return parse_plist(bytes);
  } catch (const std::runtime_error& failure) {
    fail(file, failure.what());
  }
}

void write_plist_file(CFPropertyListRef value, int folder, const char* name) {
  CFErrorRef error = nullptr;
  const Owned<CFDataRef> data(CFPropertyListCreateData(
      kCFAllocatorDefault, value, kCFPropertyListXMLFormat_v1_0, /*options=*/0, &error));
  if (data == nullptr) fail(name, why(error));
  const int file = ::openat(folder, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  const bool written =
      file >= 0 && write_all(file, CFDataGetBytePtr(data.get()),
                             static_cast<std::size_t>(CFDataGetLength(data.get())));
  const int failed = errno;
  if (file >= 0 && ::close(file) != 0 && written) fail(name, system_text(errno));
  if (!written) fail(name, system_text(failed));
}

}  // namespace MobileDevice::simulator

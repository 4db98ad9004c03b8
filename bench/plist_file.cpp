#include "plist_file.h"

#include <fstream>
#include <stdexcept>

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) throw std::runtime_error("can't open " + path);
  std::string bytes(static_cast<std::size_t>(file.tellg()), '\0');
  file.seekg(0);
  if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())))
    throw std::runtime_error("can't read " + path);
  return bytes;
}

cf::Owned<CFPropertyListRef> parse_plist(const std::string& bytes) {
  const cf::Owned<CFDataRef> data(
      CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                  static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
  cf::Owned<CFPropertyListRef> value(CFPropertyListCreateWithData(
      kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (!value) throw std::runtime_error("CoreFoundation finds no property list");
  return value;
}

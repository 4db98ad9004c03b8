/// Reads one property list with one library: `read_plist ours|libplist FILE [ROUNDS]`. Prints the
/// mean CPU seconds of a reading, the peak memory in bytes without the file itself, and "read" or
/// "refused". One round, the default, begins with cold caches and an empty heap.

#include <CoreFoundation/CoreFoundation.h>
#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "plist_file.h"

namespace {

/// The peak memory of this process in bytes: VmHWM of proc(5). Not from getrusage, whose value is
/// inherited from the process that started this one.
std::uint64_t peak_memory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::uint64_t kibibytes = 0;
  while (status >> word)
    if (word == "VmHWM:" && status >> kibibytes) return kibibytes * 1024;
  throw std::runtime_error("/proc/self/status has no VmHWM");
}

double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

using Read = void* (*)(const std::string& bytes);
using Release = void (*)(void* value);

/// NULL when the file is refused.
void* read_with_ours(const std::string& bytes) {
  const cf::Owned<CFDataRef> data(
      CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                  static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
  return const_cast<void*>(CFPropertyListCreateWithData(
      kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
}

void* read_with_libplist(const std::string& bytes) {
  plist_t plist = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &plist);
  return plist;
}

/// Only the readings are measured, and short ones together so that the clock costs little. The last
/// values are never released.
void run(const std::string& library, const std::string& path, int rounds) {
  if (library != "ours" && library != "libplist") throw std::runtime_error("no library " + library);
  const bool is_ours = library == "ours";
  const Read read = is_ours ? read_with_ours : read_with_libplist;
  const Release release = is_ours ? Release([](void* value) { CFRelease(value); }) : plist_free;
  const std::string bytes = read_file(path);
  const int together = bytes.size() < 65536 ? 16 : 1;
  const std::uint64_t memory_before = peak_memory();
  double seconds = 0;
  std::vector<void*> values;
  for (int left = rounds; left > 0; left -= together) {
    for (void* const value : values)
      if (value != nullptr) release(value);
    values.assign(static_cast<std::size_t>(std::min(left, together)), nullptr);
    const double before = cpu_seconds();
    for (void*& value : values) value = read(bytes);
    seconds += cpu_seconds() - before;
  }
  std::cout << seconds / rounds << " " << peak_memory() - memory_before << " "
            << (values.back() != nullptr ? "read" : "refused") << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 3 && argc != 4)
      throw std::runtime_error("usage: read_plist ours|libplist FILE [ROUNDS]");
    run(argv[1], argv[2], argc == 4 ? std::stoi(argv[3]) : 1);
  } catch (const std::exception& error) {
    std::cerr << "read_plist: " << error.what() << "\n";
    return 1;
  }
}

/// Reads one property list with one library, `read_plist ours|libplist FILE`, and prints the CPU
/// seconds that took, the bytes by which the process grew at its peak, the file itself left out,
/// and "read" or "refused".

#include <CoreFoundation/CoreFoundation.h>
#include <plist/plist.h>

#include <cstdint>
#include <ctime>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "plist_file.h"

namespace {

/// The most memory that this process has held, in bytes: VmHWM of proc(5). Not getrusage: its
/// figure is passed on from the process that started this one.
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

bool read_with_ours(const std::string& bytes) {
  const CFDataRef data =
      CFDataCreateWithBytesNoCopy(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                  static_cast<CFIndex>(bytes.size()), kCFAllocatorNull);
  return CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr,
                                      nullptr) != nullptr;
}

bool read_with_libplist(const std::string& bytes) {
  plist_t plist = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &plist);
  return plist != nullptr;
}

/// The value that is read lives on to the end of the process, so that only reading is measured.
void run(const std::string& library, const std::string& path) {
  const std::string bytes = read_file(path);
  const std::uint64_t memory_before = peak_memory();
  const double time_before = cpu_seconds();
  if (library != "ours" && library != "libplist") throw std::runtime_error("no library " + library);
  const bool is_read = library == "ours" ? read_with_ours(bytes) : read_with_libplist(bytes);
  const double time_after = cpu_seconds();
  std::cout << time_after - time_before << " " << peak_memory() - memory_before << " "
            << (is_read ? "read" : "refused") << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 3) throw std::runtime_error("usage: read_plist ours|libplist FILE");
    run(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::cerr << "read_plist: " << error.what() << "\n";
    return 1;
  }
}

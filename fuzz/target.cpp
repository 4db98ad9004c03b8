#include "fuzz/target.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

void require(bool met, const char* expectation) {
  if (met) return;
  std::fprintf(stderr, "not met: %s\n", expectation);
  std::abort();
}

File::File(std::string_view content) : descriptor_(memfd_create("input", MFD_CLOEXEC)) {
  require(descriptor_ >= 0, "there is memory for a file");
  const ssize_t written = write(descriptor_, content.data(), content.size());
  require(written == static_cast<ssize_t>(content.size()), "the file takes the input");
}

File::~File() { close(descriptor_); }

std::string File::path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::run(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}

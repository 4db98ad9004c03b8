/// What a failed allocation does in this program. A small one ends the process with one line on
/// standard error: no message could be created without memory, and none may be lost in silence. A
/// large one, whose size depends on a file, throws as usual, so that an error can name the cause.
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string_view>

namespace {

constexpr std::size_t largest_small_size = 65536;

void* allocate(std::size_t size) noexcept {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr || size > largest_small_size) return block;
  constexpr std::string_view line = "korvrestore: no memory\n";
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
  std::abort();
}

}  // namespace

void* operator new(std::size_t size) {
  void* const block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }

void operator delete(void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t) noexcept { std::free(block); }

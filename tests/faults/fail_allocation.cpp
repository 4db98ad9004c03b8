/// Preloaded into the program: makes allocations fail. FAIL_ALLOCATION is "N once" or "N on"; with
/// N = 0 none fails. At the end the number of allocations is written to the file COUNT_ALLOCATIONS.
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

long first = 0;  // 0: none fails
bool once = true;
std::atomic<bool> armed = false;
std::atomic<long> calls = 0;

bool fails() {
  if (!armed) return false;
  const long call = ++calls;
  const bool chosen = first != 0 && (once ? call == first : call >= first);
  if (chosen) errno = ENOMEM;
  return chosen;
}

__attribute__((constructor)) void arm() {
  const char* const plan = std::getenv("FAIL_ALLOCATION");
  if (plan == nullptr) return;
  first = std::atol(plan);
  once = std::strstr(plan, "once") != nullptr;
  armed = true;
}

__attribute__((destructor)) void count() {
  armed = false;
  const char* const file = std::getenv("COUNT_ALLOCATIONS");
  if (file == nullptr) return;
  char text[32];
  const int size = std::snprintf(text, sizeof text, "%ld", calls.load());
  const int descriptor = ::open(file, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (::write(descriptor, text, static_cast<std::size_t>(size)) < 0) std::abort();
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return fails() ? nullptr : __libc_malloc(size); }

void* calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  return fails() ? nullptr : __libc_realloc(block, size);
}

}  // extern "C"

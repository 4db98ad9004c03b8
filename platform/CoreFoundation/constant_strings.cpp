/// The strings of CFSTR: a hash table that only grows. So readers need no lock, and no string is
/// destroyed while another thread uses it during `exit`.
#include <atomic>
#include <new>

#include "string_object.h"
#include "utf8.h"

namespace {

struct Node {
  const Node* next;
  CFStringRef string;
};

constexpr std::size_t kBuckets = 1024;
constinit std::atomic<const Node*> buckets[kBuckets] = {};

/// The string with the text `text` in the nodes from `first` up to `end`, or NULL.
CFStringRef find(const Node* first, const Node* end, std::string_view text) noexcept {
  for (const Node* node = first; node != end; node = node->next)
    if (cf::utf8(node->string) == text) return node->string;
  return nullptr;
}

}  // namespace

CFStringRef __CFStringMakeConstantString(const char* c_str) {
  const std::string_view text(c_str);
  std::atomic<const Node*>& bucket = buckets[cf::hash_text(text) % kBuckets];
  const Node* first = bucket.load(std::memory_order_acquire);
  if (const CFStringRef found = find(first, nullptr, text)) return found;

  if (!cf::is_valid_utf8(text)) cf::fatal("CFSTR() called with a text that isn't UTF-8");
  Node* const node = new (std::nothrow) Node{first, cf::immortal_string(text)};
  if (node == nullptr || node->string == nullptr) cf::fatal("no memory for a constant string");
  while (!bucket.compare_exchange_weak(first, node, std::memory_order_release,
                                       std::memory_order_acquire)) {
    // Another thread may have added the same text meanwhile.
    if (const CFStringRef found = find(first, node->next, text)) {
      std::free(const_cast<__CFString*>(node->string));
      delete node;
      return found;
    }
    node->next = first;
  }
  return node->string;
}

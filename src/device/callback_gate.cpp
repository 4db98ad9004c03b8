#include "device/callback_gate.h"

#include <mutex>
#include <unordered_set>

namespace korvrestore {
namespace {

struct open_contexts {
  std::shared_mutex mutex;
  std::unordered_set<const void*> contexts;
};

open_contexts& all_open() {
  // Never destroyed: MobileDevice's threads may call while the process exits.
  static open_contexts& open = *new open_contexts;
  return open;
}

}  // namespace

callback_gate::callback_gate(const void* context) : context_(context) {
  const std::lock_guard<std::shared_mutex> lock(all_open().mutex);
  all_open().contexts.insert(context_);
}

callback_gate::~callback_gate() {
  const std::lock_guard<std::shared_mutex> lock(all_open().mutex);
  all_open().contexts.erase(context_);
}

callback_entry::callback_entry(const void* context)
    : inside_(all_open().mutex), is_open_(all_open().contexts.contains(context)) {}

}  // namespace korvrestore

#include "value_stack.h"

#include <algorithm>
#include <new>
#include <utility>

namespace cf {

ValueStack::~ValueStack() {
  for (const CFTypeRef value : values_) CFRelease(value);
}

void ValueStack::push(Owned<CFTypeRef> value) {
  if (value == nullptr) throw std::bad_alloc();
  values_.push_back(value.get());
  static_cast<void>(value.release());
}

Owned<CFTypeRef> ValueStack::pop() {
  Owned<CFTypeRef> value(values_.back());
  values_.pop_back();
  return value;
}

/// At least doubles the capacity, so that many small steps don't copy the stack each time.
void ValueStack::reserve(std::size_t count) {
  const std::size_t needed = values_.size() + count;
  if (needed > values_.capacity()) values_.reserve(std::max(needed, 2 * values_.capacity()));
}

/// The container has taken over the references from `first` up.
void ValueStack::replace_from(std::size_t first, Owned<CFTypeRef> container) {
  if (container == nullptr) throw std::bad_alloc();
  values_.resize(first);
  push(std::move(container));
}

void ValueStack::fold_into_array(std::size_t first) {
  replace_from(first, make_array(std::span(values_).subspan(first)));
}

void ValueStack::fold_into_dictionary(std::size_t first) {
  replace_from(first, make_dictionary(std::span(values_).subspan(first)));
}

}  // namespace cf

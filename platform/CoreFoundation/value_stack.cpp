#include <new>

#include "property_list.h"

namespace cf {
namespace {

void replace_from(std::vector<CFTypeRef>& values, std::size_t first, CFTypeRef container) {
  if (container == nullptr) throw std::bad_alloc();
  if (first == values.size()) {
    values.push_back(container);
  } else {
    values[first] = container;
    values.resize(first + 1);
  }
}

}  // namespace

ValueStack::~ValueStack() {
  for (const CFTypeRef value : values_) CFRelease(value);
}

void ValueStack::push(CFTypeRef owned) {
  if (owned == nullptr) throw std::bad_alloc();
  Owned<CFTypeRef> value(owned);
  values_.push_back(owned);
  static_cast<void>(value.release());
}

Owned<CFTypeRef> ValueStack::pop() {
  Owned<CFTypeRef> value(values_.back());
  values_.pop_back();
  return value;
}

void ValueStack::fold_into_array(std::size_t first) {
  values_.reserve(first + 1);
  replace_from(values_, first, make_array(std::span(values_).subspan(first)));
}

void ValueStack::fold_into_dictionary(std::size_t first) {
  values_.reserve(first + 1);
  replace_from(values_, first, make_dictionary(std::span(values_).subspan(first)));
}

}  // namespace cf

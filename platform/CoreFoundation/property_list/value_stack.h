/// The stack on which the property-list readers keep values until their containers are complete.
#pragma once

#include <cstddef>
#include <vector>

#include "../internal.h"

namespace cf {

/// Owned references until a container takes them over. Functions that let it grow throw
/// std::bad_alloc if there is no memory.
class ValueStack {
 public:
  ValueStack() = default;
  ValueStack(const ValueStack&) = delete;
  ValueStack& operator=(const ValueStack&) = delete;
  ~ValueStack();

  std::size_t size() const { return values_.size(); }
  CFTypeRef top() const { return values_.back(); }
  /// @throws std::bad_alloc  `value` is NULL, as a Create call returns when memory is short.
  void push(Owned<CFTypeRef> value);
  Owned<CFTypeRef> pop();
  /// Makes room for `count` more values.
  void reserve(std::size_t count);
  /// Replaces the values from `first` up by one array of them.
  void fold_into_array(std::size_t first);
  /// Replaces the values from `first` up, key, value, key, value, ..., by one dictionary.
  void fold_into_dictionary(std::size_t first);

 private:
  void replace_from(std::size_t first, Owned<CFTypeRef> container);

  std::vector<CFTypeRef> values_;
};

}  // namespace cf

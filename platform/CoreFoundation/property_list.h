/// The formats behind the C API of CFPropertyList.h.
#pragma once

#include <CoreFoundation/CFData.h>

#include <cstddef>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "internal.h"

namespace cf {

/// How deep containers may stand in each other in what is read.
inline constexpr std::size_t kMaxNesting = 512;

/// The input is no property list of its format, the object can't be one; what() says why.
struct PropertyListError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// @throws PropertyListError  the object can't be written.
Owned<CFDataRef> write_xml(CFTypeRef property_list);

/// @param encoding  how the text is encoded whatever it says itself; NULL: as it says.
/// @throws PropertyListError, as do the readers below, when the text is malformed.
Owned<CFTypeRef> read_xml(std::string_view text, const char* encoding);

Owned<CFTypeRef> read_binary(std::string_view bytes);

Owned<CFTypeRef> read_openstep(std::string_view valid_utf8);

/// Owned references that wait for the container that will take them over.
class ValueStack {
 public:
  ValueStack() = default;
  ValueStack(const ValueStack&) = delete;
  ValueStack& operator=(const ValueStack&) = delete;
  ~ValueStack();

  std::size_t size() const { return values_.size(); }
  CFTypeRef top() const { return values_.back(); }
  /// Takes over a reference as a Create call answered it. @throws std::bad_alloc  it is NULL.
  void push(CFTypeRef owned);
  Owned<CFTypeRef> pop();
  /// Replaces the values from `first` up by one array of them.
  void fold_into_array(std::size_t first);
  /// Replaces the values from `first` up, key, value, key, value, ..., by one dictionary.
  void fold_into_dictionary(std::size_t first);

 private:
  std::vector<CFTypeRef> values_;
};

}  // namespace cf

// What {fmt} 9 doesn't define in its headers.
#include <fmt/format-inl.h>

namespace fmt::detail {

template char decimal_point_impl<char>(locale_ref);
template thousands_sep_result<char> thousands_sep_impl<char>(locale_ref);
template std::locale locale_ref::get<std::locale>() const;

}  // namespace fmt::detail

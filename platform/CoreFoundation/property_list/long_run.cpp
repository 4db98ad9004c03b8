#include "long_run.h"

#include <algorithm>

namespace cf {

/// A run of two blocks' length holds a whole block without '<'. Elsewhere the search of a block
/// ends at its first tag, so that most bytes aren't looked at.
std::optional<LongRun> find_long_run(std::string_view source, std::size_t from) {
  constexpr std::size_t kBlock = 256;
  std::size_t at = from;
  while (at + kBlock <= source.size()) {
    if (source.substr(at, kBlock).find('<') != std::string_view::npos) {
      at += kBlock;
      continue;
    }
    const std::size_t end = std::min(source.find('<', at + kBlock), source.size());
    const std::size_t tag = source.substr(from, at - from).rfind('<');
    if (tag != std::string_view::npos) {
      const std::size_t close = source.substr(0, end).find('>', from + tag);
      if (close != std::string_view::npos) return LongRun{from + tag, close + 1, end};
    }
    at = end;
  }
  return std::nullopt;
}

}  // namespace cf

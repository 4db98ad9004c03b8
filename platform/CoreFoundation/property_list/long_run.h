/// Long stretches of an XML text between two tags.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace cf {

/// A run of bytes without '<', and the tag before it if that was one: positions in the source.
struct LongRun {
  std::size_t tag;    // of its '<'
  std::size_t begin;  // behind its '>'
  std::size_t end;
};

/// The first run of some hundred bytes whose tag stands at `from` or behind. Fast where runs are
/// short.
std::optional<LongRun> find_long_run(std::string_view source, std::size_t from);

}  // namespace cf

/// Inputs of any size that make a careless reader slow, and a writer of binary lists to make them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace cf::test {

struct HostileShape {
  const char* name;
  /// Some `size` bytes of it; whether that is a property list is another matter.
  std::string (*make)(std::size_t size);
  /// How much of it is worth timing: enough to measure, and four times as much still fits into the
  /// caches that the reader's tables need.
  std::size_t size = std::size_t{256} * 1024;
};

/// All shapes in all formats; a name begins with that of its format.
std::span<const HostileShape> hostile_shapes();

/// The number in `size` bytes, the highest first.
std::string big_endian(std::uint64_t value, std::size_t size);

/// The last 32 bytes of a binary list.
std::string binary_trailer(std::uint64_t objects, std::uint64_t table, std::uint64_t top = 0,
                           char offset_size = 4, char number_size = 4);

/// A binary list of these objects, the first on top, with object numbers of four bytes.
std::string binary_list(const std::vector<std::string>& objects);

/// An array of the objects with these numbers, for binary_list.
std::string binary_array(std::span<const std::uint32_t> numbers);

std::string repeated(std::size_t count, std::string_view text);

}  // namespace cf::test

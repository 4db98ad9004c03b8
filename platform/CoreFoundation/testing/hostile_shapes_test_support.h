/// Inputs of any size that make a careless reader slow, and a writer of binary lists for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cf::test {

struct HostileShape {
  std::string name;
  /// The size that is large enough to measure.
  std::size_t size;
  /// About `size` bytes; they need not be a valid property list.
  std::function<std::string(std::size_t size)> make;
};

/// The shapes of testdata/hostile.txt; a name begins with the name of the format.
std::vector<HostileShape> hostile_shapes();

/// The number in `size` bytes, big-endian.
std::string big_endian(std::uint64_t value, std::size_t size);

/// The last 32 bytes of a binary list.
std::string binary_trailer(std::uint64_t objects, std::uint64_t table, std::uint64_t top = 0,
                           char offset_size = 4, char number_size = 4);

/// A binary list of these objects with object numbers of four bytes. The first is the top object.
std::string binary_list(const std::vector<std::string>& objects);

/// An array of the objects with these numbers, for binary_list.
std::string binary_array(const std::vector<std::uint32_t>& numbers);

std::string repeated(std::size_t count, std::string_view text);

}  // namespace cf::test

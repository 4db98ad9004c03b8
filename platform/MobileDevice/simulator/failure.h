/// The simulator's errors.
#pragma once

#include <stdexcept>
#include <string>

#include "../cf_values.h"

namespace MobileDevice::simulator {

/// The codes of the CFErrors of the domain "MobileDeviceSimulator"; integrators see them.
enum class FailureCode : CFIndex {
  kScenario = 1,
  kOptions = 2,
  kBundle = 3,
  kBuildManifest = 4,
  kNoIdentity = 5,
  kPersonalizedBundle = 6,
  kDeviceLeft = 7,
  kInternal = 8,
};

/// The beginning and the end of a text of more than 2,000 bytes, cut between characters of UTF-8.
inline std::string shortened(const std::string& text) {
  constexpr std::size_t kLongest = 2000, kKept = 900;
  if (text.size() <= kLongest) return text;
  const auto is_inside = [&](std::size_t at) { return (text[at] & 0xC0) == 0x80; };
  std::size_t head = kKept, tail = text.size() - kKept;
  while (head > 0 && is_inside(head)) --head;
  while (tail < text.size() && is_inside(tail)) ++tail;
  return text.substr(0, head) + " ... " + text.substr(tail);
}

/// The text names the file and the problem.
class Failure : public std::runtime_error {
 public:
  /// The middle of a long text is left out: it quotes names and values of a file, of any length.
  Failure(FailureCode code, const std::string& text)
      : std::runtime_error(shortened(text)), code_(code) {}
  Owned<CFErrorRef> error() const {
    return make_error("MobileDeviceSimulator", static_cast<CFIndex>(code_), what());
  }

 private:
  FailureCode code_;
};

}  // namespace MobileDevice::simulator

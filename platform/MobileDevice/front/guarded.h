#pragma once

namespace MobileDevice {

/// @return  what `work` returns, or `otherwise` if it throws: no exception leaves the C API.
template <typename Result, typename Work>
Result guarded(Result otherwise, Work work) noexcept {
  try {
    return work();
  } catch (...) {
    return otherwise;
  }
}

}  // namespace MobileDevice

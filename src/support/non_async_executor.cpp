#include "support/non_async_executor.h"

#include <boost/asio/io_context.hpp>

namespace TY {

// NOLINTNEXTLINE(bugprone-exception-escape): see the declaration
boost::asio::execution_context& non_async_executor::query(
    boost::asio::execution::context_t) noexcept {
  // An io_context rather than a bare execution_context, which would start another thread.
  static boost::asio::io_context& context = *new boost::asio::io_context;
  return context;
}

}  // namespace TY

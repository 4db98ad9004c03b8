#include "support/non_async_executor.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/execution/executor.hpp>
#include <boost/asio/posix/basic_stream_descriptor.hpp>
#include <boost/asio/post.hpp>

namespace {

static_assert(boost::asio::execution::is_executor<TY::non_async_executor>::value);

TEST(NonAsyncExecutorDeathTest, AsynchronousUseEndsProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(TY::non_async_executor().execute([] {}), "asynchronously");
  EXPECT_DEATH(boost::asio::post(TY::non_async_executor(), [] {}), "asynchronously");
  EXPECT_DEATH(
      {
        boost::asio::posix::basic_stream_descriptor<TY::non_async_executor> descriptor(
            TY::non_async_executor(), dup(STDIN_FILENO));
        char byte;
        descriptor.async_read_some(boost::asio::buffer(&byte, 1),
                                   [](const boost::system::error_code&, std::size_t) {});
      },
      "asynchronously");
}

}  // namespace

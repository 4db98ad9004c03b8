#include <dispatch/dispatch.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <cstdlib>

struct dispatch_queue_s {
  boost::asio::io_context context{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> never_done{
      context.get_executor()};
};

dispatch_queue_t dispatch_get_main_queue() {
  // Never destroyed: `exit` runs on other threads while the main one serves the queue.
  static dispatch_queue_t const queue = new dispatch_queue_s;
  return queue;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  boost::asio::post(queue->context, [work, context]() noexcept { work(context); });
}

void dispatch_main() {
  dispatch_get_main_queue()->context.run();
  std::abort();  // the work guard keeps run() from returning
}

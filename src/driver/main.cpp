#include <dispatch/dispatch.h>

#include <boost/asio/io_context.hpp>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>

#include "driver/command_line.h"
#include "driver/command_runner.h"
#include "driver/error.h"
#include "output/output_str_state.h"
#include "output/standard_streams.h"

namespace korvrestore {
namespace {

int run(int argc, const char** argv) {
  auto [options, description, error] = parse_arguments(argc, argv);
  // Never run: it only supplies the executor of the output descriptor, which is used synchronously.
  auto context = std::make_unique<boost::asio::io_context>();
  std::shared_ptr<output_str_state> output = make_output_state(context->get_executor(), options);
  std::thread writer([state = output.get()] { state->loop(); });

  if (error) {
    output->print_formatted_error(error.get());
    output->quit();
    writer.join();
    return GetCode(error.get());
  }

  std::thread worker([options = std::move(options), description = std::move(description),
                      context = std::move(context), output = std::move(output),
                      writer = std::move(writer)]() mutable noexcept {
    const int status = runProgramMain(options, description, output);
    output->quit();
    writer.join();
    std::exit(status);  // NOLINT(concurrency-mt-unsafe): no other thread calls it
  });
  worker.detach();
  dispatch_main();
}

}  // namespace
}  // namespace korvrestore

int main(int argc, const char** argv) {
  // If the reader closes the pipe, the write then fails with an error that names the cause.
  std::signal(SIGPIPE, SIG_IGN);
  // The same holds for a file that has reached its size limit.
  std::signal(SIGXFSZ, SIG_IGN);
  korvrestore::make_standard_streams_wait();
  return korvrestore::run(argc, argv);
}

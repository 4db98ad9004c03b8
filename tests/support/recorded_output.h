#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "output/output_str_state.h"

/// An output state with debug lines enabled, and its writer's output.
class RecordedOutput {
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{std::tmpfile(), std::fclose};
  boost::asio::io_context context_;  // must outlive the state, whose descriptor uses it

 public:
  RecordedOutput() {
    korvrestore::start_options options;
    options.output_pipe = dup(fileno(file_.get()));
    state = korvrestore::make_output_state(context_.get_executor(), options);
    state->set_debug(true);
  }

  /// Runs the writer until everything queued is written. Call it only once.
  void finish() {
    testing::internal::CaptureStderr();
    state->quit();
    std::thread([this] { state->loop(); }).join();
    debug = testing::internal::GetCapturedStderr();
    std::rewind(file_.get());
    for (int c; (c = std::fgetc(file_.get())) != EOF;) messages += static_cast<char>(c);
  }

  std::shared_ptr<korvrestore::output_str_state> state;
  std::string messages;
  std::string debug;
};

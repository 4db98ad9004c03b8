#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "tests/support/planned_transfers.h"
#include "tests/support/recorded_output.h"

namespace {

TEST(OutputTransfers, GoOnWhereTheLastOneEnded) {
  for (std::size_t part = 1; part < 5; ++part) {
    RecordedOutput output;
    output.state->print("text");
    output.state->print("more");
    EXPECT_EQ(planned_transfers({{.at_most = part}}, [&] { output.finish(); }),
              (std::vector<std::size_t>{5, 5 - part, 5}));
    EXPECT_EQ(output.messages, "text\nmore\n");
  }
}

TEST(OutputTransfersDeathTest, EndTheProcessWhenTheyFail) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  for (const int error : {EINTR, EIO, ENOSPC, EPIPE}) {
    EXPECT_DEATH(
        {
          RecordedOutput output;
          output.state->print("text");
          output.state->quit();
          planned_transfers({{.at_most = 2}, {.error = error}},
                            [&] { std::thread([&] { output.state->loop(); }).join(); });
        },
        std::string("write: ") + std::strerror(error));
  }
}

}  // namespace

#include "support/filesystem.h"

#include <gtest/gtest.h>

namespace {

TEST(Path, JoinsWithOneSeparator) {
  const struct {
    const char *left, *right, *joined;
  } cases[] = {
      {"a", "b", "a/b"}, {"a/", "b", "a/b"}, {"a", "/b", "/b"}, {"", "b", "b"}, {"a", "", "a/"}};
  for (const auto& [left, right, joined] : cases)
    EXPECT_EQ((TY::filesystem::path(left) / right).native(), joined);
}

}  // namespace

#include "driver/error.h"

#include <gtest/gtest.h>

#include "output/cf_strings.h"

namespace korvrestore {
namespace {

TEST(ToolErrors, HaveADescriptionAndAStatusWhateverTheCode) {
  const struct {
    int code;
    const char* description;
    int status;
  } cases[] = {{-1, "Unknown error", 1}, {0, "No error", 0}, {9, "Unknown error", 1}};
  for (const auto& [code, description, status] : cases) {
    const cf_error error = CreateDomainError(Error{code}, "");
    EXPECT_EQ(CFErrorGetCode(error.get()), code);
    EXPECT_EQ(MakeString(cf_string(CFErrorCopyDescription(error.get())).get()), description);
    EXPECT_EQ(MakeString(ErrorDescription(Error{code})), description);
    EXPECT_EQ(GetCode(error.get()), status);
  }
  EXPECT_EQ(GetCode(nullptr), 0);
}

}  // namespace
}  // namespace korvrestore

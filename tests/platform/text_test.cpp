#include <gtest/gtest.h>

#include <string>

#include "platform/text.h"

namespace tbt {
namespace {

TEST(Textf, FormatsShortAndLongTexts) {
  EXPECT_EQ(textf("uc_error_0x%08x", 0x87u), "uc_error_0x00000087");
  std::string big(1000, 'x');
  EXPECT_EQ(textf("%s!", big.c_str()), big + "!");
  std::string out = "a";
  appendf(out, "%d-%s", 7, "b");
  EXPECT_EQ(out, "a7-b");
}

}  // namespace
}  // namespace tbt

#include <gtest/gtest.h>

#include <string>

#include "platform/text.h"

namespace tbt {
namespace {

// Texts of 255 characters fit the formatter's first buffer with their NUL;
// longer ones take the second pass.
TEST(Textf, TextsAroundTheFirstBuffer) {
  for (size_t length : {254u, 255u, 256u, 257u, 1000u}) {
    const std::string text(length - 1, 'x');
    EXPECT_EQ(textf("%s!", text.c_str()), text + "!") << length;
    std::string out = "a";
    appendf(out, "%s!", text.c_str());
    EXPECT_EQ(out, "a" + text + "!") << length;
  }
}

}  // namespace
}  // namespace tbt

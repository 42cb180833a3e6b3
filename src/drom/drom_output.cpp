#include "drom/drom_output.h"

#include <cstdio>

#include "platform/platform.h"

namespace tbt {

DromOutput DromOutput::standard() {
  return DromOutput{
      [](std::string_view text) {
        if (hasPlatform())
          host().print(text);
        else
          std::fwrite(text.data(), 1, text.size(), stdout);
      },
      [](std::string_view text) {
        if (hasPlatform())
          host().log(text);
        else
          std::fwrite(text.data(), 1, text.size(), stderr);
      },
  };
}

DromOutput DromOutput::silent() { return DromOutput{}; }

}  // namespace tbt

#include "drom/drom.h"

#include <cstdarg>

#include "platform/text.h"

namespace tbt {

DROM::DROM(DromOutput output) : mOutput(std::move(output)) {}

void DROM::print(const char* format, ...) const {
  if (!mOutput.print) return;
  va_list args;
  va_start(args, format);
  std::string text = vtextf(format, args);
  va_end(args);
  mOutput.print(text);
}

void DROM::logLine(const char* format, ...) const {
  if (!mOutput.log) return;
  va_list args;
  va_start(args, format);
  std::string text = vtextf(format, args);
  va_end(args);
  mOutput.log(text);
}

}  // namespace tbt

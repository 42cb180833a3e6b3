#include "drom/drom.h"

#include <cstdarg>

#include "platform/text.h"

namespace tbt {
namespace {

void emit(const std::function<void(std::string_view)>& sink, const char* format, va_list args) {
  if (sink) sink(vtextf(format, args));
}

}  // namespace

DROM::DROM(DromOutput output) : mOutput(std::move(output)) {}

void DROM::print(const char* format, ...) const {
  va_list args;
  va_start(args, format);
  emit(mOutput.print, format, args);
  va_end(args);
}

void DROM::logLine(const char* format, ...) const {
  va_list args;
  va_start(args, format);
  emit(mOutput.log, format, args);
  va_end(args);
}

}  // namespace tbt

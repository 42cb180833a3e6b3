#pragma once
// tbkit run through the program's own entry, its output streams captured.
#include <sstream>
#include <string>
#include <vector>

#include "cli/tbkit_main.h"

namespace tbt::cli {

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline Outcome tbkit(const std::vector<std::string>& args) {
  std::ostringstream out;
  std::ostringstream err;
  const int status = runTbkit(args, out, err);
  return {status, out.str(), err.str()};
}

}  // namespace tbt::cli

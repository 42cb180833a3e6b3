#pragma once
// A tbkit command line with its exit status, a text its output holds and its
// whole error output. The suite that runs such rows is TbkitCommand (its test
// in tbkit_commands_test.cpp); each file instantiates its own rows.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "cli/tbkit_run.h"

namespace tbt::cli {

struct CommandCase {
  const char* name;
  std::vector<std::string> args;
  int status;
  std::string outContains;
  std::string err;
};

inline void PrintTo(const CommandCase& c, std::ostream* os) { *os << c.name; }

// A usage error (status 2) prints nothing on standard output.
inline void expectCommand(const CommandCase& c) {
  const Outcome run = tbkit(c.args);
  EXPECT_EQ(run.status, c.status) << run.err;
  EXPECT_NE(run.out.find(c.outContains), std::string::npos) << run.out.substr(0, 4000);
  EXPECT_EQ(run.err, c.err);
  if (c.status == 2) {
    EXPECT_EQ(run.out, "");
  }
}

class TbkitCommand : public ::testing::TestWithParam<CommandCase> {};

}  // namespace tbt::cli

#pragma once
// tbkit run through the program's own entry: in this process with its
// output streams captured, or as a child process writing to a real file.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
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

/// Runs a program's main (args[0] is its name) in a child process whose
/// standard output is outFd and which ignores SIGPIPE, as a program started
/// by a shell with "trap '' PIPE" does. Its error output is captured; out
/// stays empty. A child that does not exit normally gives status -1.
inline Outcome runAsProcess(int (*main)(int, char**), std::vector<std::string> args, int outFd) {
  int err[2];
  if (::pipe(err) != 0) return {-1, "", "pipe failed"};
  std::fflush(nullptr);  // the child must not write what this process has buffered
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGPIPE, SIG_IGN);
    ::dup2(outFd, STDOUT_FILENO);
    ::dup2(err[1], STDERR_FILENO);
    ::close(err[0]);
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    ::_exit(main(static_cast<int>(args.size()), argv.data()));
  }
  ::close(err[1]);
  Outcome outcome{-1, "", ""};
  char buffer[4096];
  for (ssize_t n; (n = ::read(err[0], buffer, sizeof buffer)) > 0;) outcome.err.append(buffer, static_cast<size_t>(n));
  ::close(err[0]);
  int status = 0;
  if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
  return outcome;
}

}  // namespace tbt::cli

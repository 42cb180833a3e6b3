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
#include <utility>
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
/// standard output is outFd and standard error errFd, and which ignores
/// SIGPIPE, as a program started by a shell with "trap '' PIPE" does. err is
/// what readFd (the other end of errFd) gives until the child has gone; out
/// stays empty. A child that does not exit normally gives status -1.
inline Outcome runChild(int (*main)(int, char**), std::vector<std::string> args, int outFd, int errFd, int readFd) {
  std::fflush(nullptr);  // the child must not write what this process has buffered
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGPIPE, SIG_IGN);
    ::dup2(outFd, STDOUT_FILENO);
    ::dup2(errFd, STDERR_FILENO);
    ::close(readFd);
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    ::_exit(main(static_cast<int>(args.size()), argv.data()));
  }
  ::close(errFd);
  Outcome outcome{-1, "", ""};
  char buffer[4096];
  // The read fails (EOF, or EIO on a terminal) once the child, the last holder of errFd, is gone.
  for (ssize_t n; (n = ::read(readFd, buffer, sizeof buffer)) > 0;) outcome.err.append(buffer, static_cast<size_t>(n));
  ::close(readFd);
  int status = 0;
  if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status)) outcome.status = WEXITSTATUS(status);
  return outcome;
}

/// runChild with the error output on a pipe.
inline Outcome runAsProcess(int (*main)(int, char**), std::vector<std::string> args, int outFd) {
  int err[2];
  if (::pipe(err) != 0) return {-1, "", "pipe failed"};
  return runChild(main, std::move(args), outFd, err[1], err[0]);
}

}  // namespace tbt::cli

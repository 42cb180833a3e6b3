// The simulated host's shell: every command line is recorded, then handed to
// the handler registered for its longest matching leading word(s). The
// standard handlers model the firmware-variable tool, the restart command and
// the boot-selection command; tests may add their own.
#include <cctype>
#include <charconv>

#include "platform/text.h"
#include "sim/boot_selection.h"
#include "sim/sim_host.h"

namespace tbt::sim {

namespace {

constexpr int kExitNotFound = 127 << 8;  // what a shell returns when it cannot find the command

int nvramCommand(SimHost& host, const std::string& command) {
  auto words = splitShellWords(command).words;
  auto& store = host.nvram();
  if (words.size() < 2) {
    host.shellPrint("usage: nvram [-p] [-d name] [name[=value] ...]\n");
    return kShellUsageError;
  }
  for (size_t i = 1; i < words.size(); ++i) {
    const std::string& w = words[i];
    if (w == "-p") {
      for (const auto& [name, value] : store) host.shellPrint(textf("%s\t%s\n", name.c_str(), encodeNvramValue(value).c_str()));
    } else if (w == "-d") {
      if (++i == words.size()) {
        host.shellPrint("nvram: missing variable name after -d\n");
        return kShellUsageError;
      }
      store.erase(words[i]);  // deleting an absent variable is not an error
    } else if (auto eq = w.find('='); eq != std::string::npos && eq > 0) {
      store[w.substr(0, eq)] = decodeNvramValue(w.substr(eq + 1));
    } else if (!w.empty() && w[0] != '-' && w[0] != '=') {
      auto it = store.find(w);
      if (it == store.end()) {
        host.shellPrint(textf("nvram: Error getting variable - '%s': data was not found\n", w.c_str()));
        return kShellUsageError;
      }
      host.shellPrint(textf("%s\t%s\n", w.c_str(), encodeNvramValue(it->second).c_str()));
    } else {
      host.shellPrint(textf("nvram: bad argument '%s'\n", w.c_str()));
      return kShellUsageError;
    }
  }
  return 0;
}

int shutdownCommand(SimHost& host, const std::string& command) {
  auto words = splitShellWords(command).words;
  if (words.size() == 3 && words[1] == "-r" && words[2] == "now") {
    host.requestRestart();
    return 0;
  }
  host.shellPrint("usage: shutdown -r now\n");
  return kShellUsageError;
}

bool startsWithWord(const std::string& line, const std::string& prefix) {
  return line.compare(0, prefix.size(), prefix) == 0 &&
         (line.size() == prefix.size() || std::isspace(static_cast<unsigned char>(line[prefix.size()])));
}

}  // namespace

std::string decodeNvramValue(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    uint8_t byte = 0;
    const char* digits = text.data() + i + 1;
    if (text[i] == '%' && i + 2 < text.size() && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
      out += static_cast<char>(byte);
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string encodeNvramValue(std::string_view value) {
  std::string out;
  for (unsigned char c : value) {
    if (c >= 0x20 && c < 0x7f && c != '%') out += static_cast<char>(c);
    else appendf(out, "%%%02x", c);
  }
  return out;
}

void SimHost::installStandardShellCommands() {
  registerShellCommand("nvram", nvramCommand);
  registerShellCommand("shutdown", shutdownCommand);
  registerShellCommand(std::string(kBootSelectionPath), bootSelectionCommand);
}

void SimHost::registerShellCommand(std::string prefix, ShellHandler handler) {
  for (auto& [p, h] : shellHandlers_) {
    if (p == prefix) {
      h = std::move(handler);
      return;
    }
  }
  shellHandlers_.emplace_back(std::move(prefix), std::move(handler));
}

int SimHost::runShell(const std::string& command) {
  shellCommands_.push_back(command);
  size_t start = command.find_first_not_of(" \t");
  std::string line = start == std::string::npos ? std::string() : command.substr(start);
  const ShellHandler* best = nullptr;
  size_t bestLength = 0;
  for (const auto& [prefix, handler] : shellHandlers_) {
    if (prefix.size() >= bestLength && startsWithWord(line, prefix)) {
      best = &handler;
      bestLength = prefix.size();
    }
  }
  if (!best) {
    std::string name = line.substr(0, line.find_first_of(" \t"));
    shellPrint(textf("sh: %s: command not found\n", name.c_str()));
    return kExitNotFound;
  }
  return (*best)(*this, line);
}

}  // namespace tbt::sim

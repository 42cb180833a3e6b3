#pragma once
// A command line written as one string, for tables of commands:
// words("eeprom read --route 1") is {"eeprom", "read", "--route", "1"}.
#include <sstream>
#include <string>
#include <vector>

namespace tbt::test {

inline std::vector<std::string> words(const std::string& line) {
  std::istringstream in(line);
  std::vector<std::string> out;
  for (std::string word; in >> word;) out.push_back(word);
  return out;
}

}  // namespace tbt::test

#pragma once
// The report lines of chosen double words of one router on the installed
// host: the reports of the spaces that hold them are run (device space,
// adapter port, path and counter spaces) and the line each printed for a
// wanted double word is kept, with the capability it was printed under. A
// double word no report prints gets the plain line of its index and value.
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "compare/host_diff.h"
#include "toolkit/report_sink.h"

namespace tbt::compare {

struct RegisterLine {
  std::string text;        // as the report prints it, without its newlines
  std::string capability;  // the header line it was printed under ("" for the space's header)
  std::vector<ReportField> fields;
};

using WordKey = std::tuple<uint32_t, uint32_t, uint32_t>;  // port, space, index

/// The lines of the wanted double words of the router at place (its
/// controller's router ID is routerID) on the installed host.
std::map<WordKey, RegisterLine> registerLines(const RouterPlace& place, uint8_t routerID,
                                              const std::vector<WordPlace>& wanted);

}  // namespace tbt::compare

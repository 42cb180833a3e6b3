#include <gtest/gtest.h>

#include <functional>

#include "support/param_names.h"
#include "support/topology_builder.h"
#include "toolkit/utilities.h"

namespace tbt {
namespace {

using test::ScopedHost;
using test::TopologyBuilder;

// Each case adds hops (and lanes, links, adapters) to this host and expects
// the paths report of its one controller:
//
//   nhi:5 ── switch 0x0
//              ├─ port 1 ────── up 0x1:1 ── switch 0x1
//              │                              ├─ port 3 (lane, nothing attached)
//              │                              └─ port 11 (DP Out)
//              ├─ port 3 (lane to another host)
//              ├─ port 4 (lane, nothing attached)
//              ├─ port 11 (DP In)
//              └─ port 12 (adapter type 0x7)
struct PathCase {
  const char* name;
  std::function<void(TopologyBuilder&)> build;
  const char* lines;
};

const PathCase kPathCases[] = {
    {"TracedAcrossALink",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9).hop(0x1, 1, 9, 11, 8); },
     "OS: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ===== [Route 0x1: Port 0x1 --> Port 0xb] (DP Out)\n"},
    {"FirmwareHopEqualLanes",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9, true).hop(0x1, 1, 9, 11, 8).lane(0x0, 1, 1).lane(0x1, 1, 1); },
     "EFI: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ==1== [Route 0x1: Port 0x1 --> Port 0xb] (DP Out)\n"},
    {"LaneMismatchTracedOn",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9).hop(0x1, 1, 9, 11, 8).lane(0x0, 1, 1).lane(0x1, 1, 2); },
     "OS: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ==LANE MISMATCH 1/2== [Route 0x1: Port 0x1 --> Port 0xb] "
     "(DP Out)\n"},
    {"FirstHopNotValidInHardware",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9, false, false).pathSpace(0x0, 11, 8, 0x00000809); },
     "OS: (DP In) [Route 0x0: Port 0xb --> ERROR (HW/SW MISMATCH)\n"},
    {"HardwareDisagreesAfterTheLink",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9).hop(0x1, 1, 9, 11, 8, false, false).pathSpace(0x1, 1, 9, 0x80005807); },
     "OS: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ===== ERROR (HW/SW MISMATCH)\n"},
    {"FarEndHasNoSuchHop",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9); },
     "OS: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ===== ERROR\n"},
    // The hop tables send the path back over the link it came by.
    {"LoopEndsAtTheFirstAdapterEnteredTwice",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 1, 9).hop(0x1, 1, 9, 1, 9).hop(0x0, 1, 9, 1, 9); },
     "OS: (DP In) [Route 0x0: Port 0xb --> Port 0x1] ===== [Route 0x1: Port 0x1 --> Port 0x1] ===== "
     "[Route 0x0: Port 0x1 --> Port 0x1] ===== ERROR\n"},
    {"NoAdapterToLeaveBy",
     [](TopologyBuilder& b) { b.hop(0x0, 11, 8, 7, 9); },
     "OS: (DP In) [Route 0x0: Port 0xb --> ERROR\n"},
    {"EmptyHopTable",
     [](TopologyBuilder& b) { b.property(0x0, 11, "Hop Table", nlohmann::json::array()); },
     ""},
    {"XDomainAndEDM",
     [](TopologyBuilder& b) { b.xdomain(0x0, 3).hop(0x0, 5, 1, 3, 8, true).hop(0x0, 3, 8, 5, 1).hop(0x0, 4, 9, 5, 2); },
     "EFI: (NHI) [Route 0x0: Port 0x5 --> Port 0x3] (XDomain)\n"
     "OS: (XDomain) [Route 0x0: Port 0x3 --> Port 0x5] (NHI)\n"
     "OS: (EDM XDomain on Port 3) [Route 0x0: Port 0x4 --> Port 0x5] (NHI)\n"},
};

class PathsReport : public ::testing::TestWithParam<PathCase> {};

TEST_P(PathsReport, OneController) {
  TopologyBuilder b({0x0, 0x1});
  b.adapter(0x0, 3, kLaneAdapterType).adapter(0x0, 4, kLaneAdapterType).adapter(0x0, 11, kDPInAdapterType);
  b.adapter(0x0, 12, 0x7).adapter(0x1, 3, kLaneAdapterType).adapter(0x1, 11, kDPOutAdapterType);
  GetParam().build(b);
  ScopedHost host(b.json());
  EXPECT_EQ(ThunderboltUserClientUtils::sharedInstance().paths(),
            std::string("Router ID 0 - Thunderbolt Paths:\n\n") + GetParam().lines + "\n");
}

INSTANTIATE_TEST_SUITE_P(Cases, PathsReport, ::testing::ValuesIn(kPathCases), test::byName);

}  // namespace
}  // namespace tbt

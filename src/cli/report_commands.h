#pragma once
// tbkit's configuration-space reports, each printing exactly the report's
// text on standard output as it is read:
//   tbkit report device | device-capability | lc-block     a router's device space
//   tbkit report port | port-capability | adapter-capability | path | counters
//                                                          one adapter's spaces
//   tbkit report router                                    a router and those below it
//   tbkit report all                                       every controller's routers
//   tbkit report lc-memory                                 a link controller's memory
// Exit status 0 when the report completes, 1 when it is empty or closes with
// an error line, 2 for a usage error.
#include "cli/tbkit_main.h"

namespace tbt::cli {

const CommandFamily& reportFamily();

}  // namespace tbt::cli

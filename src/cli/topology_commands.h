#pragma once
// tbkit's topology and configuration-access commands:
//   tbkit list                      controllers, routers and adapters as a tree
//   tbkit paths                     the paths report
//   tbkit read / tbkit write        one router's configuration double words,
//                                   locally, through a parent's link controller
//                                   (--via-parent) or by route (--iecs-route)
//   tbkit iecs read / iecs write    IECS transfers of a routed router
#include "cli/tbkit_main.h"

namespace tbt::cli {

const CommandFamily& listFamily();
const CommandFamily& pathsFamily();
const CommandFamily& readFamily();
const CommandFamily& writeFamily();
const CommandFamily& iecsFamily();

}  // namespace tbt::cli

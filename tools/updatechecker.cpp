// updatechecker: decides whether attached displays need a firmware update and
// schedules it for the next start of the host.
#include "cli/updatechecker_main.h"

int main(int argc, char** argv) { return tbt::cli::updatecheckerMain(argc, argv); }

// tbkit: the Thunderbolt diagnostics program.
#include "cli/tbkit_main.h"

int main(int argc, char** argv) { return tbt::cli::tbkitMain(argc, argv); }

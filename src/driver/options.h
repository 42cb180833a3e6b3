#pragma once
// The update checker's command-line switches: the process-wide flags that
// the update flow reads, and the entry point's own switches.
namespace tbt {

/// Process-wide flags of the update driver, written only by the option parser.
struct DriverFlags {
  bool multi = true;     // two displays get the two-UID boot-selection command
  bool uid = true;       // a bad switch UID may be repaired
  bool verbose = false;  // extra log lines, each shell command logged
  bool ignore = false;   // skip the firmware version check, force the flash
};

/// The process-wide flags.
DriverFlags& driverFlags();

/// Puts the process-wide flags back to their defaults.
void resetDriverFlags();

/// The switches that stay with the entry point, and where the operands start.
struct EntryOptions {
  bool restart = false;
  bool arm = false;
  bool backflash = false;
  bool clean = false;
  int firstOperand = 0;  // index in argv of the first operand (argc when none)
};

/// The version the update checker reports with -v.
inline constexpr double kUpdateCheckerVersion = 57.0;

/// Parses the options of argv in command-line order with the standard
/// long-option parser, setting the process-wide flags (from their defaults)
/// as it goes; -v prints
/// the version line. Unknown options get the parser's own diagnostic and are
/// otherwise ignored.
/// argc, argv: the program's arguments; the parser may reorder argv so that
/// the operands follow the options.
/// Returns the entry point's switches and the index of the first operand.
EntryOptions parseEntryOptions(int argc, char** argv);

}  // namespace tbt

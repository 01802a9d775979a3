#pragma once

#include <string>

// What the front end prints, written down from its layout rules, for tests to compare with.

inline const std::string kRow = std::string(58, '=') + "\n";
inline const std::string kRule = std::string(62, '-') + "\n";
inline const std::string kDotsRow = std::string(46, '.') + "\n";

// The banner of a run that the abort key can end, and that of all others.
inline const std::string kAbortBanner = "\n" + kRow +
                                        " Tarvex Diagnostics - CLI\n"
                                        " Press ESC To Abort The Diagnostics\n" +
                                        kRow + "\n";
inline const std::string kPlainBanner =
    "\n" + kRow + " Tarvex Diagnostics - CLI\n" + kRow + " \n\n";

// The general help; `modules` is what stands behind the last colon.
inline std::string HelpText(const std::string& modules) {
  return "\n> General options\n"
         "  Usage: TarvexDiagnosticsCLI [option]\n"
         "  Options:\n"
         "    -A, --list-modules              Lists available modules\n"
         "    -h, --help                      Shows CLI general help\n"
         "    -v, --version                   Lists module(s) version\n"
         "    -o, --output                    Redirects CLI output to a file\n"
         "    -b, --background                Runs CLI in background mode\n"
         "    -W, --wmi                       Save the logs on WMI services\n"
         "    -r, --remove                    Erase Tarvex Diagnostics namespace\n"
         "\n"
         "  Example:\n"
         "   => TarvexDiagnosticsCLI.exe -W -Mstorage -Mpci_express\n"
         "\n"
         "> Module specific options\n"
         "  Usage: TarvexDiagnosticsCLI -Mmodule_name [option]\n"
         "         TarvexDiagnosticsCLI --module=module_name [option]\n"
         "  Options:\n"
         "    -h, --help                      Shows the help of the selected module\n"
         "    -L, --list-diagnostics          Lists diagnostics of the selected module(s)\n"
         "    -D, --list-devices              Lists devices of chosen module(s)\n"
         "    -R, --list-resources            Lists devices resources of chosen module(s)\n"
         "    -S, --list-tools                Lists tools of chosen module(s)\n"
         "    -T[hint], --tool=[hint]         Executes a tool of the chosen module\n"
         "    --data-collection=[value]       Enable or disable data collection by passing value 0"
         " or 1\n"
         "\n"
         "> Perform diagnostics\n"
         "  Usage: TarvexDiagnosticsCLI [module] [diagnostic]\"[test(s)]\" [device id(s)]\n"
         "    -M[module_name]                 Performs default diagnostic of the module\n"
         "    -M[module_name] [diagnostic]    Perform all tests of the diagnostic\n"
         "\n"
         "  Example:\n"
         "   => Perform tests f and r of diagnostic Q on devices 0 and 1 of the storage module\n"
         "      TarvexDiagnosticsCLI -Mstorage -Q\"f,r\" 0 1\n"
         "\n"
         "> Perform Run All\n"
         "  Usage: TarvexDiagnosticsCLI -U\"[options]\"\n"
         "         TarvexDiagnosticsCLI --run-all=[options]\n"
         "    -U                              Perform default diagnostics of all modules\n"
         "    -U\"q\", -U\"quick\"                Perform quick diagnostics of all modules\n"
         "    -U\"e\", -U\"extended\"             Perform extended diagnostics of all modules\n"
         "    -U\"o\", -U\"only-unattended\"      Perform only-unattended diagnostics of all"
         " modules\n"
         "\n"
         "  Example:\n"
         "   => Perform quick, extended and only-unattended tests in all devices of all modules\n"
         "      TarvexDiagnosticsCLI -U\"q,e,o\"\n"
         "\n"
         "\n"
         "> Available module(s): " +
         modules + "\n\n";
}

// A fatal parse error, without the help behind it. `text` as displayed.
inline std::string FatalText(const std::string& text) {
  return "[Warning] Fatal parsing error: " + text + "\n";
}

// A warning after parsing.
inline std::string WarningText(const std::string& text) {
  return "[Warning] " + text + "\n\n";
}

// The last state of each line: what stands before a carriage return was drawn over.
inline std::string Settled(const std::string& output) {
  std::string screen;
  std::string line;
  for (const char byte : output) {
    if (byte == '\r') {
      line.clear();
      continue;
    }
    line += byte;
    if (byte == '\n') {
      screen += line;
      line.clear();
    }
  }
  return screen + line;
}

// The blocks of a run, as they stand on the screen in the end.
inline std::string ScanText(const std::string& module) {
  return "[Info] Scanning " + module + " devices finished\n";
}
// A field: `stored` is the name as the program holds it, whose length makes the column.
inline std::string FieldText(const std::string& stored, const std::string& shown,
                             const std::string& value) {
  return shown + std::string(26 - stored.size(), ' ') + value + "\n";
}
inline std::string DeviceStartText(const std::string& id, const std::string& name) {
  return "\n" + kRule + FieldText("ID", "Id", id) +
         FieldText("DISPLAY_NAME", "Display Name", name) + kRule;
}
inline std::string TestText(const std::string& name, const std::string& status,
                            const std::string& elapsed = "0 seconds") {
  return "=> " + name + "\n   Test Status: " + status + "!\n   Elapsed time: " + elapsed + " \n\n";
}
inline std::string DiagnosticStartText(const std::string& name) {
  return "\nStarted diagnostic: " + name + "\n";
}
inline std::string DiagnosticEndText(const std::string& name) {
  return "Finished diagnostic: " + name + "\n";
}
inline std::string DeviceEndText(const std::string& code,
                                 const std::string& elapsed = "0 seconds") {
  return "\n" + kRule + "   Result Code: " + code + "\n   Total elapsed time: " + elapsed + " \n" +
         kRule;
}
inline std::string FinalText(const std::string& code) {
  return "\n" + kRule + "   Final Result Code: " + code + "\n" + kRule;
}

#pragma once

#include <fstream>
#include <stdexcept>
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

// A block of the golden cases that needs none of their escapes.
inline std::string GoldenBlock(const std::string& name) {
  std::ifstream file(TARVEX_SOURCE_DIR "/tests/golden/cases/blocks.txt");
  std::string block;
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("== ", 0) == 0) inside = line == "== " + name;
    if (inside && line.rfind('|', 0) == 0) block += line.substr(1) + "\n";
  }
  if (block.empty()) throw std::runtime_error("no golden block " + name);
  return block;
}

// The general help; `modules` is what stands behind the last colon.
inline std::string HelpText(const std::string& modules) {
  static const std::string block = GoldenBlock("help");
  std::string text = block;
  return text.replace(text.find("$1"), 2, modules);
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

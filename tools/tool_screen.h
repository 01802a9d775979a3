#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/tool_device_record.h"

// The building blocks of the tools' screens. Texts are narrow and UTF-8; keys become display text
// here. The functions that only return a text are pure; all else is for the main thread, or for the
// spinner's while it scans.

namespace tarvex {

inline constexpr char kToolMargin[] = "   ";
inline constexpr char kToolShortMargin[] = "  ";

// What differs between the tools' screens.
struct ToolWords {
  const char* program;       // key of the name on the left of the header
  const char* tool;          // key of the tool's name
  const char* usageOptions;  // what stands behind the program's name in the usage hint
  bool marksNonRotating;     // the device list tells of devices that do not rotate
};

// Prints the text, decoded from UTF-8; the second also shows it now.
void WriteTool(std::wostream& console, std::string_view text);
void WriteToolFlushed(std::wostream& console, std::string_view text);
// Prints what covers the line of the search for devices.
void WriteToolBlanking(std::wostream& console);

// `noEscape`: without the line that names the abort key.
std::string ToolHeader(const ToolWords& words, bool noEscape);
// Writes each warning with a call of `writeRaw`, and a blank line behind the last; nothing for an
// empty list.
void WriteToolWarnings(std::wostream& console, const std::vector<std::string>& keys,
                       const std::function<void(const std::string& text)>& writeRaw);
// Empty for an empty list.
std::string ToolErrors(const std::vector<std::string>& keys);
std::string ToolUsageHint(const ToolWords& words);
std::string ToolDeviceList(const ToolWords& words, const std::vector<ToolDeviceRecord>& devices);

// Seconds as hours, minutes and seconds, each cut. What is no number from 0 on counts as 0.
struct ToolElapsed {
  int hours;
  int minutes;
  int seconds;
};
ToolElapsed SplitElapsed(double seconds);
// Such as "2 minute \bs 1 second". The plurals of hour and minute rub out their blank with a
// backspace; consoles show "minutes ", and programs that read the output know it so.
std::string ToolElapsedText(double seconds);

// The line that is drawn over and over.
class ToolProgressLine {
 public:
  explicit ToolProgressLine(std::wostream& console) : console_(console) {}

  // The percentage, the spinner and the time, over the whole of the line before.
  void Show(std::uint32_t percent, double elapsedSeconds);
  void ShowScanning();
  // Covers the latest line of Show; nothing when there was none.
  void Wipe();

 private:
  char AdvanceSpinner();

  std::wostream& console_;
  char spinner_ = '-';
  std::string last_;  // the latest line of Show; its length is what Wipe covers
};

}  // namespace tarvex

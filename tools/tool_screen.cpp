#include "tools/tool_screen.h"

#include <algorithm>

#include "system/key_format.h"
#include "system/text_conversion.h"
#include "tools/message_keys.h"
#include "views/message_keys.h"

namespace tarvex {
namespace {

constexpr std::size_t kRowWidth = 58;
constexpr std::size_t kBlankingWidth = 35;
constexpr std::string_view kSpinnerSteps = "-\\|/";
// More seconds than ticks can tell; below it all arithmetic is exact.
constexpr double kMostSeconds = 1e9;

std::string Blanks(std::size_t count) {
  return std::string(count, ' ') + '\r';
}

// "1 hour ", and "2 hour \bs " where it is more than one; nothing for 0.
std::string CountedUnit(int count, const char* unit) {
  if (count == 0) return {};
  return std::to_string(count) + " " + unit + (count > 1 ? " \bs " : " ");
}

std::string DeviceBlock(const ToolWords& words, const ToolDeviceRecord& device) {
  std::string block = std::string(kToolShortMargin) + kToolDeviceId + "\t\t" + device.id + "\n" +
                      kToolShortMargin + kToolDisplayName + "\t\t" + Protected(device.displayName) +
                      "\n";
  if (words.marksNonRotating && device.nonRotating) {
    block += std::string(kToolShortMargin) + "* " + kToolNonRotating + "\n";
  }
  return "\n" + std::string(kRowWidth, '-') + "\n" + KeyToText(block) + "\n";
}

}  // namespace

void WriteTool(std::wostream& console, std::string_view text) {
  console << Utf8ToWideLenient(text);
}

void WriteToolFlushed(std::wostream& console, std::string_view text) {
  WriteTool(console, text);
  console.flush();
}

void WriteToolBlanking(std::wostream& console) {
  WriteToolFlushed(console, Blanks(kBlankingWidth));
}

std::string ToolHeader(const ToolWords& words, bool noEscape) {
  const std::string row(kRowWidth, '=');
  const std::string title =
      "\n" + row + "\n" + KeyToText(words.program) + "  -  " + KeyToText(words.tool) + "\n";
  if (noEscape) return title + row + "\n\n\n";
  return title + KeyToText(kToolPressEscape) + "\n" + row + "\n\n";
}

void WriteToolWarnings(std::wostream& console, const std::vector<std::string>& keys,
                       const std::function<void(const std::string& text)>& writeRaw) {
  if (keys.empty()) return;
  for (const std::string& key : keys) {
    writeRaw(KeyToText(WarningKey(key)) + "\n");
  }
  WriteTool(console, "\n");
}

std::string ToolErrors(const std::vector<std::string>& keys) {
  if (keys.empty()) return {};
  std::string text = ">> " + KeyToText(kToolErrors) + "\n";
  for (const std::string& key : keys) text += "\t- " + KeyToText(key) + "\n";
  return text + "\n";
}

std::string ToolUsageHint(const ToolWords& words) {
  return std::string(">> To see instructions use: ") + kProgramName + words.usageOptions + "\n";
}

std::string ToolDeviceList(const ToolWords& words, const std::vector<ToolDeviceRecord>& devices) {
  if (devices.empty()) return "> " + KeyToText(kToolNoApplicableDevices) + "\n";
  std::string text = "> " + KeyToText(kToolListOfDevices);
  for (const ToolDeviceRecord& device : devices) text += DeviceBlock(words, device);
  return text + "\n";
}

ToolElapsed SplitElapsed(double seconds) {
  const double all = seconds > 0 ? std::min(seconds, kMostSeconds) : 0;
  const int hours = static_cast<int>(all / 3600);
  const int minutes = static_cast<int>((all / 3600 - hours) * 60 + 0.01);
  return {hours, minutes, static_cast<int>(all - (hours * 60.0 + minutes) * 60)};
}

std::string ToolElapsedText(double seconds) {
  const ToolElapsed parts = SplitElapsed(seconds);
  std::string text = CountedUnit(parts.hours, "hour") + CountedUnit(parts.minutes, "minute");
  if (parts.seconds == 0 && !text.empty()) return text;
  return text + std::to_string(parts.seconds) + " second" + (parts.seconds > 1 ? "s" : "");
}

void ToolProgressLine::Show(std::uint32_t percent, double elapsedSeconds) {
  std::string line = kToolMargin + std::to_string(percent) + "% " + AdvanceSpinner() + " " +
                     ToolElapsedText(elapsedSeconds);
  const std::size_t left = last_.size() - std::min(last_.size(), line.size());
  WriteToolFlushed(console_, line + std::string(left, ' ') + "  \r");
  last_ = std::move(line);
}

void ToolProgressLine::ShowScanning() {
  WriteToolFlushed(console_, std::string("Scanning devices... ") + AdvanceSpinner() + "\r");
}

void ToolProgressLine::Wipe() {
  if (!last_.empty()) WriteToolFlushed(console_, Blanks(last_.size()));
}

char ToolProgressLine::AdvanceSpinner() {
  const char shown = spinner_;
  spinner_ = kSpinnerSteps[(kSpinnerSteps.find(shown) + 1) % kSpinnerSteps.size()];
  return shown;
}

}  // namespace tarvex

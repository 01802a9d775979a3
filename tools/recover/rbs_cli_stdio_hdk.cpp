#include "tools/recover/rbs_cli_stdio_hdk.h"

#include <algorithm>
#include <array>

#include "system/outside_text.h"
#include "tools/recover/operations.h"
#include "tools/tool_data_error.h"

namespace {

constexpr std::uint32_t kPercentStep = 10;
constexpr std::size_t kPercentWidth = 3;
constexpr std::array<std::int32_t, 11> kKnownStatuses{0, 2, 6, 7, 8, 9, 10, 12, 13, 14, 15};

std::string Padded(const std::string& digits, std::size_t width) {
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

std::string TwoDigits(int value) {
  return Padded(std::to_string(value), 2);
}

// One second counts as none here, and supervising programs know it so.
std::string ClockText(double elapsedSeconds) {
  const auto [hours, minutes, seconds] = tarvex::SplitElapsed(elapsedSeconds);
  return TwoDigits(hours) + ":" + TwoDigits(minutes) + ":" + TwoDigits(seconds == 1 ? 0 : seconds);
}

// A line of the protocol, whatever stands in its fields.
std::string Line(const std::string& fields) {
  return tarvex::InLine(fields) + "\n";
}

}  // namespace

void RbsCliStdioHdk::ShowDevices(const std::vector<ToolDeviceRecord>& devices) {
  std::string text;
  for (const ToolDeviceRecord& device : devices) {
    text += "\n" + Line("ID:::" + device.id) + Line("DISPLAY_NAME:::" + device.displayName);
  }
  tarvex::WriteToolFlushed(console(), text + "\n");
}

void RbsCliStdioHdk::OnRecoverInit() {
  tarvex::WriteToolFlushed(console(), "\n");
}

void RbsCliStdioHdk::OnDeviceInit(const std::string& id, const std::string& name) {
  tarvex::WriteToolFlushed(console(), Line("BeginRBS:::SCAN_AND_FIX_TOOL|" + id + "|" + name));
}

void RbsCliStdioHdk::OnDeviceFinish(const std::string& id, const std::string& /*name*/,
                                    std::int32_t status, double elapsedSeconds,
                                    const std::vector<std::string>& sectorsInfo,
                                    const std::string& /*badSectors*/,
                                    const std::string& /*operation*/) {
  if (std::find(kKnownStatuses.begin(), kKnownStatuses.end(), status) == kKnownStatuses.end()) {
    return;
  }
  tarvex::NeedValues(kRbsToolWord, kRbsSectorsInfo, sectorsInfo, kRbsCounts);
  std::string line = "EndRBS:::" + id;
  for (std::size_t i = 0; i < kRbsCounts; ++i) line += "|" + sectorsInfo[i];
  tarvex::WriteToolFlushed(
      console(), Line(line + "|" + std::to_string(status) + "|" + ClockText(elapsedSeconds)));
}

void RbsCliStdioHdk::OnRecoverFinish(const std::string& /*text*/) {
  tarvex::WriteToolFlushed(console(), "\n");
}

void RbsCliStdioHdk::ShowProgress(double /*elapsedSeconds*/) {
  std::string line = "PrgRBS:::" + Padded(std::to_string(progress_), kPercentWidth) + "\n";
  if (line != lastLine_ && progress_ % kPercentStep == 0) tarvex::WriteToolFlushed(console(), line);
  lastLine_ = std::move(line);
}

void RbsCliStdioHdk::SetProgress(std::uint32_t percent, double /*elapsedSeconds*/) {
  progress_ = percent;
}

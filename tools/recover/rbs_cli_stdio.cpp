#include "tools/recover/rbs_cli_stdio.h"

#include <algorithm>
#include <array>
#include <optional>

#include "system/key_format.h"
#include "tools/message_keys.h"
#include "tools/recover/message_keys.h"

namespace {

constexpr tarvex::ToolWords kWords{kRbsProgram, kRbsTool, " -Mstorage -Trecover -h", true};

constexpr std::int32_t kNoErrors = 0;
constexpr std::int32_t kSystemEvent = 13;
// Of a device that was read the counts are known.
constexpr std::int32_t kFirstRead = 8;
constexpr std::int32_t kLastRead = 15;

struct StatusRow {
  std::optional<std::int32_t> status;  // none: no status selects the text
  const char* key;
};
constexpr std::array kStatusRows{
    StatusRow{kNoErrors, "|NO_ERRORS_WERE_FOUND"},
    StatusRow{2, "|HARD_DISK_LOCKED"},
    StatusRow{6, "|RECOVER_BAD_SECTORS_IS_NOT_SUPPORTED_ON_THIS_DEVICE"},
    StatusRow{7, "|NOT_ENOUGH_PRIVILEGES"},
    StatusRow{8, "|CANCELED"},
    StatusRow{9, "|PASSED"},
    StatusRow{10, "|UNABLE_TO_FIX_ERRORS"},
    StatusRow{12, "|ERRORS_WERE_FOUND"},
    StatusRow{kSystemEvent, "|CANCELED"},
    StatusRow{14, "|READ_OPERATION_TIMEOUT"},
    StatusRow{15, "|WRITE_OPERATION_TIMEOUT"},
    StatusRow{std::nullopt, "|UNABLE_TO_EXECUTE"},
};

// The names of the counts, in the order of the service's list.
constexpr std::array kCountNames{"Number of sectors read: ", "Number of bad sectors found: ",
                                 "Number of fixed sectors: ", "Number of non fixed sectors: "};

std::string StatusText(std::int32_t status) {
  const auto* row =
      std::find_if(kStatusRows.begin(), kStatusRows.end(),
                   [status](const StatusRow& entry) { return entry.status == status; });
  return row == kStatusRows.end() ? std::string() : tarvex::KeyToText(row->key);
}

std::string Indented(const std::string& lines) {
  std::string text = tarvex::kToolMargin;
  for (const char letter : lines) {
    text += letter;
    if (letter == '\n') text += tarvex::kToolMargin;
  }
  return text;
}

std::string HelpText() {
  const std::string program = kProgramName;
  return "> General options\n"
         "  Usage: " +
         program +
         "  -Mstorage -Trecover [option(s)]\n"
         "  Options:\n"
         "\t-h, --help\t       Shows the CLI instructions\n"
         "\t-l, --list-devices     Shows the devices\n\n"
         "> Scan and Repair Bad Sectors\n"
         "  Usage: " +
         program +
         "  -Mstorage -Trecover -r [device id(s)]\n\n"
         "  Examples:\n"
         "\t=> Perform Scan and Repair on devices 0 and 2\n"
         "\t   " +
         program +
         "  -Mstorage -Trecover -r 0 2\n"
         "\t=> Perform Scan and repair on all applicable devices\n"
         "\t   " +
         program + "  -Trecover -r\n\n";
}

}  // namespace

RbsCliStdio::RbsCliStdio(std::wostream& console, bool bootable)
    : shared_(console, kWords, bootable) {}

void RbsCliStdio::ShowVersion() {
  tarvex::WriteTool(console(),
                    "> " + tarvex::KeyToText(std::string(kRbsTool) + " " + kRbsVersion) + "\n\n");
}

void RbsCliStdio::ShowConfirmation() {
  tarvex::WriteTool(console(), "> " + tarvex::KeyToText(kRbsDataLoss) + "\n> " +
                                   tarvex::KeyToText(kRbsProceed) + " ");
}

void RbsCliStdio::ShowHelp() {
  tarvex::WriteTool(console(), HelpText());
}

void RbsCliStdio::ReportNoDevices(std::vector<std::string> keys) {
  keys.emplace_back(tarvex::kToolNoDevices);
  ShowErrors(keys);
}

void RbsCliStdio::OnOperationInit(const std::string& operation) {
  tarvex::WriteTool(console(),
                    tarvex::KeyToText(std::string(kRbsStarted) + " |" + operation) + "\n");
}

void RbsCliStdio::OnDeviceFinish(const std::string& /*id*/, const std::string& /*name*/,
                                 std::int32_t status, double elapsedSeconds,
                                 const std::vector<std::string>& sectorsInfo,
                                 const std::string& badSectors, const std::string& /*operation*/) {
  const std::string margin = tarvex::kToolMargin;
  shared_.WipeProgress();
  ShowCounts(status, sectorsInfo);
  ShowStatus(status);
  tarvex::WriteToolFlushed(console(), "\n" + margin + tarvex::KeyToText(kRbsElapsedTime) + " " +
                                          tarvex::ToolElapsedText(elapsedSeconds) + "\n");
  if (!badSectors.empty()) {
    tarvex::WriteToolFlushed(console(),
                             "\n" + margin + "Bad sectors list:\n" + Indented(badSectors));
    tarvex::WriteTool(console(), "\n");
  }
  tarvex::WriteTool(console(), "\n");
}

void RbsCliStdio::ShowCounts(std::int32_t status, const std::vector<std::string>& sectorsInfo) {
  if (status != kNoErrors && (status < kFirstRead || status > kLastRead)) return;
  // What was read is told in pairs: what there was, and what became of it.
  const std::size_t told = std::min(sectorsInfo.size(), kCountNames.size()) / 2 * 2;
  for (std::size_t i = 0; i < told; ++i) {
    tarvex::WriteTool(console(),
                      std::string(tarvex::kToolMargin) + kCountNames[i] + sectorsInfo[i] + "\n");
  }
}

void RbsCliStdio::ShowStatus(std::int32_t status) {
  std::string text = tarvex::kToolMargin + tarvex::KeyToText(kRbsOperationStatus) + " " +
                     StatusText(status) + shared_.TakeMessage();
  if (status == kSystemEvent) text += " - " + tarvex::KeyToText(kRbsSystemEvent);
  tarvex::WriteTool(console(), text);
}

void RbsCliStdio::OnOperationFinish(const std::string& /*text*/) {
  tarvex::WriteTool(console(), "\n");
}

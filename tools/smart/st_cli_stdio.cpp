#include "tools/smart/st_cli_stdio.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>

#include "system/key_format.h"
#include "tools/message_keys.h"
#include "tools/smart/attribute_table.h"
#include "tools/smart/message_keys.h"

namespace {

constexpr tarvex::ToolWords kWords{kSTProgram, kSTTool, " -Mstorage -Tsmart -h", false};

constexpr std::int32_t kRead = 0;
constexpr std::int32_t kNotPossible = 1;
constexpr std::int32_t kNotEnoughPrivileges = 3;

constexpr std::array kThresholdColumns{
    AttributeColumn{kSTId, 5},         AttributeColumn{kSTDescription, 30},
    AttributeColumn{kSTThreshold, 10}, AttributeColumn{kSTValue, 10},
    AttributeColumn{kSTWorst, 10},     AttributeColumn{kSTData, 15}};
constexpr std::array kLogColumns{AttributeColumn{kSTId, 5}, AttributeColumn{kSTDescription, 40},
                                 AttributeColumn{kSTData, 40}};
constexpr std::array kDriveColumns{AttributeColumn{kSTDescription, 40},
                                   AttributeColumn{kSTData, 40}};

struct TypeRow {
  const char* type;
  std::span<const AttributeColumn> columns;
};
constexpr std::array kTypes{TypeRow{"ata", kThresholdColumns}, TypeRow{"scsi", kThresholdColumns},
                            TypeRow{"nvme", kLogColumns}};

std::string HelpText() {
  const std::string program = kProgramName;
  return "> General options\n"
         "  Usage: " +
         program +
         "  -Mstorage -Tsmart [option(s)]\n"
         "  Options:\n"
         "\t-h, --help\t       Shows the CLI instructions\n"
         "\t-l, --list-devices     Shows the devices\n"
         "\t-i, --info             Displays SMART attributes\n\n"
         "  Usage: " +
         program +
         "  -Mstorage -Tsmart -i [device id(s)]\n\n"
         "  Examples:\n"
         "\t=> Retrieve Smart Attributes of devices 0 and 2\n"
         "\t   " +
         program +
         "  -Mstorage -Tsmart -i 0 2\n"
         "\t=> Retrieve Smart Attributes of all applicable devices\n"
         "\t   " +
         program + "  -Tsmart -i\n\n";
}

// Why there is no table.
struct ReasonRow {
  std::optional<std::int32_t> status;  // none: no status selects the text
  const char* key;
  bool isSentence;  // begins with a capital and ends its line
};
constexpr std::array kReasons{ReasonRow{kNotPossible, kSTNotPossible, true},
                              ReasonRow{kNotEnoughPrivileges, kSTNotEnoughPrivileges, false},
                              ReasonRow{std::nullopt, kSTNotSupported, false}};

std::string ReasonText(std::int32_t status) {
  const auto* row = std::find_if(kReasons.begin(), kReasons.end(),
                                 [status](const ReasonRow& one) { return one.status == status; });
  if (row == kReasons.end()) return {};
  return tarvex::KeyToText(row->key, row->isSentence) + (row->isSentence ? "\n" : "");
}

}  // namespace

STCliStdio::STCliStdio(std::wostream& console, bool bootable, DriveInfoSetting driveInfo)
    : ToolView(console, kWords, bootable), driveInfo_(std::move(driveInfo)) {}

void STCliStdio::ShowHelp() {
  tarvex::WriteTool(console(), HelpText());
}

void STCliStdio::OnDeviceFinish(const std::string& /*id*/, const std::string& /*name*/,
                                std::int32_t status, const std::string& deviceType,
                                const std::string& attributes,
                                const std::string& driveInformation) {
  const auto* row = std::find_if(kTypes.begin(), kTypes.end(),
                                 [&](const TypeRow& entry) { return deviceType == entry.type; });
  const bool nothingRead = attributes.empty() && driveInformation.empty();
  if (nothingRead || row == kTypes.end()) status = kNotPossible;
  WipeProgress();
  if (status == kRead) {
    const std::string section = DriveInformation(driveInformation);
    tarvex::WriteTool(console(), tarvex::AttributeHead(row->columns) +
                                     tarvex::AttributeRows(row->columns, attributes));
    // Asked a second time: the user may have turned it off meanwhile.
    if (!section.empty() && driveInfo_()) tarvex::WriteTool(console(), section);
  } else {
    tarvex::WriteTool(console(), ReasonText(status));
  }
  tarvex::WriteToolFlushed(console(), TakeMessage() + "\n");
}

// The section about the maker's drives; empty where there is nothing to tell or it is not wanted.
std::string STCliStdio::DriveInformation(const std::string& driveInformation) const {
  if (driveInformation.empty() || !driveInfo_()) return {};
  std::string section = "\n" + std::string(15, ' ') + "TARVEX DRIVE INFORMATION\n" +
                        tarvex::AttributeHead(kDriveColumns) +
                        tarvex::AttributeRows(kDriveColumns, driveInformation);
  // Fields of fixed length are filled up with zero bytes.
  std::erase(section, '\0');
  return section;
}

void STCliStdio::OnSmartToolFinish(const std::string& text) {
  ShowEnd(text);
}

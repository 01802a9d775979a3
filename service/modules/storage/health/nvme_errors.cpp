#include "service/modules/storage/health/error_logs.h"

#include <algorithm>
#include <array>
#include <utility>

#include "service/modules/storage/nvme/error_log.h"
#include "service/modules/storage/nvme/identify.h"
#include "service/modules/storage/nvme/status_words.h"

namespace orvan::storage {
namespace {

// What the host asked wrongly is its own fault; what the drive lost, broke or could not carry is
// the drive's. Source: NVM Express Base 2.0, 3.3.3.2.1, status code types and generic codes: data
// transfer error, internal error, sanitize failed, transient transport error; NVM Express NVM
// Command Set 1.0, 3.1.2: compare failure, access denied, deallocated block.
bool IsHarmlessNvme(std::uint16_t status) {
  constexpr std::array<std::uint8_t, 4> kGenericFaults = {0x04, 0x06, 0x1C, 0x22};
  constexpr std::array<std::uint8_t, 3> kMediaAnswers = {0x85, 0x86, 0x87};
  const auto code = static_cast<std::uint8_t>(status & 0xFFU);
  const auto has = [code](const auto& codes) {
    return std::find(codes.begin(), codes.end(), code) != codes.end();
  };
  switch (status >> 8 & 7U) {
    case 0:
      return !has(kGenericFaults);
    case 1:
      return true;
    case 2:
      return has(kMediaAnswers);
    default:
      return false;
  }
}

LoggedError EntryOf(const nvme::ErrorEntry& error) {
  constexpr std::uint16_t kMediaType = 2;
  constexpr std::uint32_t kNoNamespace = 0xFFFFFFFF;
  LoggedError entry;
  entry.id = error.number;
  entry.isHarmless = IsHarmlessNvme(error.status);
  entry.text = nvme::StatusWords(error.status);
  // Of other types nothing tells whether 0 is a block or none.
  if ((error.status >> 8 & 7U) == kMediaType) entry.text += " at LBA " + std::to_string(error.lba);
  if (error.namespaceId != 0 && error.namespaceId != kNoNamespace) {
    entry.text += ", namespace " + std::to_string(error.namespaceId);
  }
  return entry;
}

}  // namespace

LoggedErrors ReadNvmeErrors(DriveLink& link) {
  const auto controller =
      Ask(link, DriveRequest::kNvmeIdentifyController, {}, nvme::DecodeController);
  if (!controller.value) return NoErrors(controller.trouble);
  const auto bytes =
      static_cast<std::uint32_t>(controller.value->errorEntries * nvme::kErrorEntryBytes);
  const auto log = Ask(link, DriveRequest::kNvmeErrorLog, {.bytes = bytes}, nvme::DecodeErrorLog);
  if (!log.value) return NoErrors(log.trouble);
  ErrorSource source{"log", "in the drive's error log"};
  for (const nvme::ErrorEntry& error : *log.value) source.entries.push_back(EntryOf(error));
  // They are numbered from 1 on over the controller's life.
  if (!source.entries.empty()) source.count = source.entries.front().id;
  LoggedErrors errors;
  errors.sources.push_back(std::move(source));
  if (!log.trouble.text.empty()) errors.troubles.push_back(log.trouble);
  return errors;
}

}  // namespace orvan::storage

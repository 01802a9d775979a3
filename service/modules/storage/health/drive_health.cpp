#include "service/modules/storage/health/drive_health.h"

#include <algorithm>
#include <utility>

#include "service/modules/storage/scsi/log_page.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

DriveHealth Nothing(Kind kind, std::string reason) {
  DriveHealth health;
  health.kind = kind;
  health.reason = std::move(reason);
  return health;
}

DriveHealth Nothing(const DriveTrouble& trouble) {
  return Nothing(trouble.kind, trouble.text);
}

void Note(DriveHealth& health, const DriveTrouble& trouble) {
  if (!trouble.text.empty()) health.troubles.push_back(trouble);
}

DriveHealth ReadAta(DriveLink& link) {
  const auto identity = ata::DecodeIdentify(link.Opening().data);
  if (!identity.value) return Nothing(Kind::kGarbage, identity.trouble);
  if (const auto why = WhyNoSmart(*identity.value)) return Nothing(*why);
  auto data = Ask(link, DriveRequest::kSmartData, {}, ata::DecodeSmartData);
  if (!data.value) return Nothing(data.trouble);
  auto thresholds = Ask(link, DriveRequest::kSmartThresholds, {}, ata::DecodeThresholds);
  if (EndsAsking(thresholds.trouble.kind)) return Nothing(thresholds.trouble);
  DriveHealth health;
  Note(health, {Kind::kDone, identity.trouble});
  Note(health, data.trouble);
  Note(health, thresholds.trouble);
  health.told = AtaHealth{*identity.value, *std::move(data.value), thresholds.value};
  return health;
}

DriveHealth ReadNvme(DriveLink& link) {
  const auto log = Ask(link, DriveRequest::kNvmeSmartLog, {}, nvme::DecodeHealthLog);
  if (!log.value) return Nothing(log.trouble);
  DriveHealth health;
  Note(health, log.trouble);
  health.told = NvmeHealth{*log.value};
  return health;
}

// Reads a page into the field that it is for. Any kind but those that end it is a trouble.
template <std::uint8_t kPage, auto kField, auto kDecode>
Kind ReadPage(DriveLink& link, ScsiHealth& pages, DriveHealth& health) {
  auto asked = Ask(link, DriveRequest::kScsiLogSense, {.page = kPage}, kDecode);
  DriveTrouble& trouble = asked.trouble;
  if (!trouble.text.empty()) trouble.text = "page " + HexByte(kPage) + ": " + trouble.text;
  if (EndsAsking(trouble.kind)) {
    health = Nothing(trouble);
  } else {
    Note(health, trouble);
    pages.*kField = std::move(asked.value);
  }
  return trouble.kind;
}

template <std::uint8_t kPage>
Decoded<scsi::ErrorCounters> DecodeCounters(Bytes answer) {
  return scsi::DecodeErrorCounters(answer, kPage);
}

struct PageRow {
  std::uint8_t page;
  Kind (*read)(DriveLink&, ScsiHealth&, DriveHealth&);
};

template <std::uint8_t kPage, auto kField, auto kDecode>
constexpr PageRow kInto = {kPage, &ReadPage<kPage, kField, kDecode>};
template <std::uint8_t kPage, auto kField>
constexpr PageRow kCounters = kInto<kPage, kField, &DecodeCounters<kPage>>;

// In the order in which they are asked for.
constexpr PageRow kPages[] = {
    kInto<scsi::kExceptionsPage, &ScsiHealth::exceptions, &scsi::DecodeInformationalExceptions>,
    kInto<scsi::kTemperaturePage, &ScsiHealth::temperatures, &scsi::DecodeTemperatures>,
    kInto<scsi::kStartStopPage, &ScsiHealth::starts, &scsi::DecodeStartStopCounts>,
    kCounters<scsi::kReadErrorsPage, &ScsiHealth::reads>,
    kCounters<scsi::kWriteErrorsPage, &ScsiHealth::writes>,
    kCounters<scsi::kVerifyErrorsPage, &ScsiHealth::verifies>,
    kInto<scsi::kNonMediumErrorsPage, &ScsiHealth::nonMediumErrors, &scsi::DecodeNonMediumErrors>,
    kInto<scsi::kSolidStatePage, &ScsiHealth::usedPercent, &scsi::DecodePercentageUsed>,
};

DriveHealth ReadScsi(DriveLink& link) {
  const auto list = Ask(link, DriveRequest::kScsiLogSense, {.page = scsi::kSupportedLogPages},
                        [](Bytes bytes) { return scsi::DecodeSupportedLogPages(bytes); });
  if (!list.value) return Nothing(list.trouble);
  DriveHealth health;
  Note(health, list.trouble);
  ScsiHealth pages;
  bool isAnyTold = false;
  for (const PageRow& row : kPages) {
    if (std::find(list.value->begin(), list.value->end(), scsi::LogPageName{row.page, 0}) ==
        list.value->end()) {
      continue;
    }
    const Kind kind = row.read(link, pages, health);
    if (EndsAsking(kind)) return health;
    isAnyTold = isAnyTold || kind == Kind::kDone;
  }
  if (isAnyTold) {
    health.told = pages;
  } else if (health.troubles.empty()) {
    return Nothing(Kind::kNotSupported, "the drive has no log page that tells of its health");
  } else {
    return Nothing(link.KindOfNonsense(), health.troubles.front().text);
  }
  return health;
}

}  // namespace

std::optional<DriveTrouble> WhyNoSmart(const ata::Identify& identity) {
  if (!identity.hasSmart) return DriveTrouble{Kind::kNotSupported, "the drive has no SMART"};
  if (identity.isSmartEnabled) return {};
  return DriveTrouble{Kind::kNotSupported, "SMART is switched off in the drive, and stays off"};
}

DriveHealth ReadHealth(DriveLink& link) {
  if (!link.Opening().IsDone()) return Nothing(link.Opening().kind, link.Opening().reason);
  switch (link.Protocol()) {
    case DriveProtocol::kAta:
      return ReadAta(link);
    case DriveProtocol::kNvme:
      return ReadNvme(link);
    case DriveProtocol::kScsi: {
      DriveHealth health = ReadScsi(link);
      if (!health.IsTold() && !link.WhyNotAta().empty()) {
        health.reason += "; by commands of ATA it cannot be asked: " + link.WhyNotAta();
      }
      return health;
    }
    case DriveProtocol::kNone:
      break;
  }
  return Nothing(Kind::kNotSupported, "the drive answers no commands");
}

}  // namespace orvan::storage

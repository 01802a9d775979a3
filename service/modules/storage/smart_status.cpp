#include "service/modules/storage/smart_status.h"

#include <algorithm>
#include <array>
#include <utility>

#include "service/modules/storage/ata/log_directory.h"
#include "service/modules/storage/drive/ask.h"
#include "service/modules/storage/drive_memory.h"
#include "service/modules/storage/health/findings.h"
#include "service/modules/storage/health/measured.h"
#include "service/modules/storage/said.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;
using sdk::Verdict;

constexpr char kSound[] = "the drive expects no failure, and no number is past its limit";

// One look at one drive.
class Look {
 public:
  Look(sdk::TestContext& context, const Disk& disk, const DriveAccess& access)
      : context_(context),
        disk_(disk),
        machine_(*access.machine),
        link_(access, disk.Facts(), context.StopToken()),
        health_(ReadHealth(link_)) {}

  Verdict Judge();

 private:
  void JudgeAta();
  // What SMART RETURN STATUS says; none: nothing.
  std::optional<SmartStatus> AskStatus();
  // Of an ATA drive that has them, those pages that hold what has a limit.
  std::vector<ata::Statistic> AskStatistics(const ata::Identify& identity);
  void JudgeNumbers(const AtaHealth& health, std::optional<SmartStatus> status);
  void MeasureAll(const std::vector<sdk::Measurement>& limited);
  void Take(const Findings& findings);
  void TakeTroubles();
  // What a drive did not tell; false when it is not worth asking any more.
  bool GoesOn(const DriveTrouble& trouble);

  sdk::TestContext& context_;
  const Disk& disk_;
  sdk::Machine& machine_;
  DriveLink link_;
  DriveHealth health_;
  Said said_;
  bool isStandardTold_ = false;  // a word of the standard, good or bad
  bool isOver_ = false;          // the drive is not worth asking any more
};

bool Look::GoesOn(const DriveTrouble& trouble) {
  if (trouble.text.empty()) return true;
  context_.Log(sdk::LogLevel::kWarning, trouble.text);
  said_.NotTold(trouble);
  isOver_ = isOver_ || EndsAsking(trouble.kind);
  return !isOver_;
}

void Look::TakeTroubles() {
  for (const DriveTrouble& trouble : health_.troubles) GoesOn(trouble);
}

std::optional<SmartStatus> Look::AskStatus() {
  const DriveAnswer answer = link_.Send(DriveRequest::kSmartReturnStatus);
  if (answer.IsDone() && answer.registers) return SmartStatusIn(*answer.registers);
  GoesOn({answer.kind, answer.reason});
  return {};
}

std::vector<ata::Statistic> Look::AskStatistics(const ata::Identify& identity) {
  static constexpr std::array<std::uint8_t, 5> kPages = {0x01, 0x03, 0x04, 0x06, 0x07};
  std::vector<ata::Statistic> statistics;
  if (isOver_ || !identity.hasLogs) return statistics;
  const auto logs = Ask(link_, DriveRequest::kAtaLogDirectory, {}, ata::DecodeLogDirectory);
  if (!GoesOn(logs.trouble) || !logs.value) return statistics;
  if (logs.value->pages[ata::kDeviceStatistics] == 0) return statistics;
  constexpr DriveRequest kRequest = DriveRequest::kAtaDeviceStatistics;
  const auto list = Ask(link_, kRequest, {}, ata::DecodeStatisticsPages);
  if (!GoesOn(list.trouble) || !list.value) return statistics;
  for (const std::uint8_t page : kPages) {
    if (std::find(list.value->begin(), list.value->end(), page) == list.value->end()) continue;
    const auto told = Ask(link_, kRequest, {.page = page},
                          [page](Bytes bytes) { return ata::DecodeStatistics(bytes, page); });
    if (!GoesOn(told.trouble)) break;
    if (told.value) statistics.insert(statistics.end(), told.value->begin(), told.value->end());
  }
  return statistics;
}

// What has a limit here comes first, and nothing comes twice.
void Look::MeasureAll(const std::vector<sdk::Measurement>& limited) {
  for (const sdk::Measurement& one : limited) context_.Measure(one);
  for (const sdk::Measurement& one : MeasuredOf(health_)) {
    const bool isThere =
        std::any_of(limited.begin(), limited.end(),
                    [&one](const sdk::Measurement& other) { return other.name == one.name; });
    if (!isThere) context_.Measure(one);
  }
}

void Look::Take(const Findings& findings) {
  MeasureAll(findings.measured);
  for (const Finding& finding : findings.list) {
    context_.Log(finding.isFailure ? sdk::LogLevel::kError : sdk::LogLevel::kWarning,
                 finding.text + ": " + finding.reason);
    if (finding.isFailure) {
      said_.Failed(finding.text);
    } else {
      said_.Warning(finding.text);
    }
  }
}

void Look::JudgeNumbers(const AtaHealth& health, std::optional<SmartStatus> status) {
  const AtaNumbers told{&health, AskStatistics(health.identity)};
  DriveMemory memory(machine_.State(), disk_, "status");
  const DriveMemory::Kept kept = memory.Read();
  const Findings findings = FindingsOf(told, status == SmartStatus::kThresholdExceeded,
                                       kept.numbers.value_or(Counters()));
  Take(findings);
  if (findings.counters.empty() || isOver_) return;
  const std::string unkept = memory.Keep(findings.counters);
  if (!kept.trouble.empty()) said_.Note(kept.trouble);
  if (!unkept.empty() && unkept != kept.trouble) said_.Note(unkept);
}

void Look::JudgeAta() {
  const auto* health = std::get_if<AtaHealth>(&health_.told);
  const std::optional<SmartStatus> status = AskStatus();
  isStandardTold_ = status || (health != nullptr && health->thresholds);
  if (health != nullptr) return JudgeNumbers(*health, status);
  if (status == SmartStatus::kThresholdExceeded) {
    AtaHealth nothing;
    Take(FindingsOf(AtaNumbers{&nothing}, true, {}));
  }
}

// Whether an ATA drive that told nothing of its attributes may have a word for its health. A USB
// bridge may give back the registers that it was sent, so alone they are no word of the drive's.
bool MayHaveStatus(const DriveLink& link, const DiskFacts& facts, const DriveHealth& health) {
  if (link.Protocol() != DriveProtocol::kAta || EndsAsking(health.kind)) return false;
  if (facts.transport == Transport::kUsb) return false;
  const auto identity = ata::DecodeIdentify(link.Opening().data);
  return identity.value && !WhyNoSmart(*identity.value);
}

Verdict Look::Judge() {
  const bool isTold = health_.IsTold();
  if (!isTold && !MayHaveStatus(link_, disk_.Facts(), health_)) {
    return words::NoAnswerVerdict(health_.kind, health_.reason);
  }
  TakeTroubles();
  if (!isTold) GoesOn({health_.kind, health_.reason});
  if (const auto* nvme = std::get_if<NvmeHealth>(&health_.told)) {
    isStandardTold_ = true;
    Take(FindingsOf(nvme->log));
  } else if (const auto* scsi = std::get_if<ScsiHealth>(&health_.told)) {
    isStandardTold_ = scsi->exceptions.has_value();
    Take(FindingsOf(*scsi));
  } else {
    JudgeAta();
  }
  if (!isStandardTold_ && !said_.IsAnyBad()) {
    return Verdict::NotApplicable(
        words::SentenceKey("nothing that the drive tells says whether it expects to fail"));
  }
  return said_.Verdict(kSound);
}

}  // namespace

sdk::TestWork SmartStatusTest(const DriveAccess& access) {
  return {{}, [access](sdk::TestContext& context) {
            const auto* disk = dynamic_cast<const Disk*>(context.TestedDevice());
            if (disk == nullptr) return Verdict::NotApplicable(words::kNoDisk);
            context.Report(0);
            Verdict verdict = Look(context, *disk, access).Judge();
            if (verdict.status != kTestCanceled) context.Report(100);
            return verdict;
          }};
}

}  // namespace orvan::storage

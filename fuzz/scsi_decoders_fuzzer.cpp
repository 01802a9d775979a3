#include <array>
#include <cstddef>
#include <cstdint>

#include "fuzz/decoded_answer.h"
#include "service/modules/storage/scsi/background_scan.h"
#include "service/modules/storage/scsi/capacity.h"
#include "service/modules/storage/scsi/condition_pages.h"
#include "service/modules/storage/scsi/control_page.h"
#include "service/modules/storage/scsi/designators.h"
#include "service/modules/storage/scsi/error_counters.h"
#include "service/modules/storage/scsi/inquiry.h"
#include "service/modules/storage/scsi/log_page.h"
#include "service/modules/storage/scsi/self_test_results.h"
#include "service/modules/storage/scsi/sense.h"
#include "service/modules/storage/scsi/sense_codes.h"
#include "service/modules/storage/scsi/vital_pages.h"

namespace {

using namespace orvan::storage;
using namespace orvan::storage::scsi;
using orvan::fuzz::Checked;
using orvan::fuzz::IsPlain;
using orvan::fuzz::Require;

void Inquiry(Bytes answer) {
  const auto decoded = DecodeStandardInquiry(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(answer.size() >= 36);
  Require(IsPlain(found->vendor + found->product + found->revision));
}

void VitalPages(Bytes answer) {
  const auto pages = DecodeSupportedVitalPages(answer);
  if (const auto* const found = Checked(pages)) Require(found->size() + 4 <= answer.size());
  const auto serial = DecodeUnitSerial(answer);
  if (const auto* const found = Checked(serial)) {
    Require(IsPlain(*found) && found->size() + 4 <= answer.size());
  }
  const auto body = VitalPageBody(answer, kBlockLimitsPage);
  if (const auto* const found = Checked(body)) Require(found->size() + 4 <= answer.size());
  Checked(DecodeBlockLimits(answer));
  Checked(DecodeBlockCharacteristics(answer));
  Checked(DecodeProvisioning(answer));
}

void Designators(Bytes answer) {
  const auto decoded = DecodeDesignators(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  std::size_t bytes = 4;
  for (const Designator& designator : *found) bytes += 4 + designator.value.size();
  Require(bytes <= answer.size());
  const std::string name = WorldWideName(*found);
  Require(name.empty() || name.starts_with("naa.") || name.starts_with("eui."));
  Require(name.empty() || name.find_first_not_of("0123456789abcdef", 4) == std::string::npos);
}

void SenseData(Bytes answer) {
  const auto decoded = DecodeSense(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(IsPlain(SenseText(*found)) && !SenseText(*found).empty());
  Require(!found->information || !found->registers || found->isDescriptor);
}

void LogPages(Bytes answer) {
  for (const std::uint8_t subpage : {std::uint8_t{0}, kAllSubpages}) {
    const auto names = DecodeSupportedLogPages(answer, subpage);
    if (const auto* const found = Checked(names)) Require(found->size() + 4 <= answer.size());
  }
  const auto parameters = DecodeLogPage(answer, kTemperaturePage);
  if (const auto* const found = Checked(parameters)) {
    std::size_t bytes = 4;
    for (const LogParameter& parameter : *found) bytes += 4 + parameter.value.size();
    Require(bytes <= answer.size());
  }
  for (const std::uint8_t page : {kWriteErrorsPage, kReadErrorsPage, kVerifyErrorsPage}) {
    Checked(DecodeErrorCounters(answer, page));
  }
  Checked(DecodeNonMediumErrors(answer));
  Checked(DecodeTemperatures(answer));
  const auto counts = DecodeStartStopCounts(answer);
  if (const auto* const found = Checked(counts)) {
    Require(found->yearMade.size() <= 4 && found->weekMade.size() <= 2);
  }
  Checked(DecodePercentageUsed(answer));
  const auto exceptions = DecodeInformationalExceptions(answer);
  if (const auto* const found = Checked(exceptions)) {
    Require(IsPlain(SenseCodeWords(found->code, found->qualifier)));
  }
}

void SelfTests(Bytes answer) {
  const auto decoded = DecodeSelfTestResults(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(found->size() <= 20 && 4 + 20 * found->size() <= answer.size());
  for (const SelfTestEntry& entry : *found) Require(!ResultWords(entry.result).empty());
}

void BackgroundScans(Bytes answer) {
  const auto decoded = DecodeBackgroundScan(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(20 + 24 * found->blocks.size() <= answer.size());
  Require(IsPlain(ScanStatusWords(found->status)));
  for (const ScannedBlock& block : found->blocks) {
    Require(IsPlain(ReassignStatusWords(block.reassignStatus)));
  }
}

void Capacities(Bytes answer) {
  const auto decoded = DecodeCapacity(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(found->blocks > 0 && found->blockBytes > 0);
  Require(found->physicalBlockBytes >= found->blockBytes && found->protectionType <= 3);
}

void ControlPages(Bytes answer) {
  const auto decoded = DecodeControlPage(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr || !found->extendedSelfTest) return;
  Require(answer.size() >= 20 && found->extendedSelfTest->count() > 0);
  Require(found->extendedSelfTest->count() < 0xFFFF);
}

}  // namespace

// The first byte chooses the decoders, and the others are the answer: whatever it is, they give
// what fits into it, in plain text, or say why they do not.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array kDecoders = {&Inquiry,         &VitalPages, &Designators,
                                    &SenseData,       &LogPages,   &SelfTests,
                                    &BackgroundScans, &Capacities, &ControlPages};
  if (size > 0) kDecoders[data[0] % kDecoders.size()](Bytes(data + 1, size - 1));
  return 0;
}

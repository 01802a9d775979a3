#include <array>
#include <cstddef>
#include <cstdint>

#include "fuzz/decoded_answer.h"
#include "service/modules/storage/nvme/error_log.h"
#include "service/modules/storage/nvme/health_log.h"
#include "service/modules/storage/nvme/identify.h"
#include "service/modules/storage/nvme/self_test_log.h"
#include "service/modules/storage/nvme/status_words.h"

namespace {

using namespace orvan::storage;
using namespace orvan::storage::nvme;
using orvan::fuzz::Checked;
using orvan::fuzz::IsPlain;
using orvan::fuzz::Require;

void Controllers(Bytes answer) {
  const auto decoded = DecodeController(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(IsPlain(found->serial + found->model + found->firmware));
  Require(found->errorEntries >= 1 && found->errorEntries <= 256);
}

void Namespaces(Bytes answer) {
  const auto decoded = DecodeNamespace(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(found->format < found->formats.size() && found->formats.size() <= 64);
  Require(found->formats[found->format].dataBytes >= 512);
  const std::string name = WorldWideName(*found);
  Require(name.empty() || name.size() == 4 + 16 || name.size() == 4 + 32);
}

void Health(Bytes answer) {
  const auto decoded = DecodeHealthLog(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(found->sparePercent.value_or(0) <= 100 &&
          found->spareThresholdPercent.value_or(0) <= 100);
  const std::string digits = found->dataUnitsRead.Text();
  Require(!digits.empty() && digits.size() <= 39 && (digits[0] != '0' || digits.size() == 1));
  Require(digits.find_first_not_of("0123456789") == std::string::npos);
}

void Errors(Bytes answer) {
  const auto decoded = DecodeErrorLog(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(found->size() * kErrorEntryBytes <= answer.size());
  for (std::size_t i = 0; i < found->size(); ++i) {
    Require((*found)[i].number != 0 && IsPlain(StatusWords((*found)[i].status)));
    Require(i == 0 || (*found)[i - 1].number > (*found)[i].number);
  }
}

void SelfTests(Bytes answer) {
  const auto decoded = DecodeSelfTestLog(answer);
  const auto* const found = Checked(decoded);
  if (found == nullptr) return;
  Require(found->entries.size() <= 20 && found->percentDone.value_or(0) <= 100);
  for (const SelfTestEntry& entry : found->entries) {
    Require(entry.code != 0 && !ResultWords(entry.result).empty());
    Require(IsPlain(StatusWords(entry.statusType.value_or(0), entry.statusCode.value_or(0))));
  }
}

}  // namespace

// The first byte chooses the decoder, and the others are the answer: whatever it is, the decoder
// gives what fits into it, in plain text, or says why it does not.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::array kDecoders = {&Controllers, &Namespaces, &Health, &Errors, &SelfTests};
  if (size > 0) kDecoders[data[0] % kDecoders.size()](Bytes(data + 1, size - 1));
  return 0;
}

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "fuzz/decoded_answer.h"
#include "service/modules/storage/ata/attribute_names.h"
#include "service/modules/storage/ata/commands.h"
#include "service/modules/storage/ata/device_statistics.h"
#include "service/modules/storage/ata/error_log.h"
#include "service/modules/storage/ata/identify.h"
#include "service/modules/storage/ata/log_directory.h"
#include "service/modules/storage/ata/page.h"
#include "service/modules/storage/ata/raw_value.h"
#include "service/modules/storage/ata/self_test_log.h"
#include "service/modules/storage/ata/smart_data.h"

namespace {

using namespace orvan::fuzz;
using namespace orvan::storage;
using namespace orvan::storage::ata;

void RequireShown(const std::string& text) {
  Require(IsPlain(text));
}

void TryIdentify(Bytes bytes) {
  const auto decoded = DecodeIdentify(bytes);
  const Identify* identify = Checked(decoded);
  if (identify == nullptr) return;
  Require(identify->serial.size() <= 20 && identify->firmware.size() <= 8);
  Require(identify->model.size() <= 40);
  for (const std::string& text : {identify->serial, identify->firmware, identify->model}) {
    RequireShown(text);
  }
  Require(identify->logicalSectorBytes >= 512);
  Require(identify->physicalSectorBytes % identify->logicalSectorBytes == 0);
  Require(identify->physicalSectorBytes >= identify->logicalSectorBytes);
  Require(identify->sectors != 0 && identify->worldWideName != 0);
  Require(!identify->queueDepth || (*identify->queueDepth >= 1 && *identify->queueDepth <= 32));
  Require(!identify->rotationsPerMinute || identify->isRotating == true);
  Require(identify->hasSmart || !identify->isSmartEnabled);
}

void TryAttribute(const Attribute& attribute, const Thresholds& thresholds) {
  for (const char* model : {"", "ST1000", "SAMSUNG HD1", "INTEL SSD"}) {
    const AttributeMeaning meaning = MeaningOf(attribute.id, model, std::nullopt);
    Require(!meaning.name.empty() && meaning.name.size() <= 29);
    const RawValue raw = ReadRaw(meaning.form, attribute.raw);
    Require(!raw.text.empty());
    RequireShown(raw.text);
    Require(raw.lowest.has_value() == raw.highest.has_value());
    Require(!raw.lowest || (*raw.lowest <= raw.number && raw.number <= *raw.highest));
  }
  if (!thresholds.byId[attribute.id]) {
    Require(StateOf(attribute, thresholds) == AttributeState::kUnknown);
  }
}

void TrySmartData(Bytes bytes) {
  const auto decoded = DecodeSmartData(bytes);
  const SmartData* data = Checked(decoded);
  if (data == nullptr) return;
  // The same bytes again, so that some ids have thresholds.
  const auto thresholds = DecodeThresholds(bytes);
  Require(thresholds.value.has_value());
  Require(data->attributes.size() <= 30);
  Require(!data->selfTest.percentLeft || *data->selfTest.percentLeft <= 100);
  std::set<std::uint8_t> ids;
  for (const Attribute& attribute : data->attributes) {
    Require(attribute.id != 0 && ids.insert(attribute.id).second);
    Require(data->Find(attribute.id) == &attribute);
    TryAttribute(attribute, *thresholds.value);
  }
}

void TrySelfTests(const Decoded<SelfTestLog>& decoded, std::size_t places) {
  const SelfTestLog* log = Checked(decoded);
  if (log == nullptr) return;
  Require(log->tests.size() <= places && log->index <= places);
  Require((log->index == 0) == log->tests.empty());
  for (const LoggedSelfTest& test : log->tests) {
    Require(!test.failingLba || IsFailure(test.status.end));
    Require(!SelfTestName(test.number).empty() && *WordsOf(test.status.end) != '\0');
  }
}

void TryErrors(const Decoded<ErrorLog>& decoded, std::size_t places) {
  const ErrorLog* log = Checked(decoded);
  if (log == nullptr) return;
  Require(log->errors.size() <= places);
  Require(log->count >= log->errors.size() || !decoded.trouble.empty());
  for (const LoggedError& error : log->errors) {
    Require(error.asked.lba >> 48 == 0 && error.left.lba >> 48 == 0);
    Require(!ErrorWords(error).empty() && !StateWords(error.state).empty());
    Require(!CommandName(error.command).empty());
  }
}

void TryStatistics(Bytes bytes, std::uint8_t number) {
  const auto pages = DecodeStatisticsPages(bytes);
  if (const auto* listed = Checked(pages)) Require(std::is_sorted(listed->begin(), listed->end()));
  const auto decoded = DecodeStatistics(bytes, number);
  const auto* statistics = Checked(decoded);
  if (statistics == nullptr) return;
  for (const Statistic& statistic : *statistics) {
    Require(statistic.place.page == number && *statistic.name != '\0');
    Require(ValueAt(*statistics, statistic.place) == statistic.value);
    const std::int64_t value = statistic.value.value_or(0);
    Require(value >= -128 && value < std::int64_t{1} << 48);
  }
}

void Seal(std::vector<std::uint8_t>& bytes) {
  for (std::size_t end = kPageBytes; end <= bytes.size(); end += kPageBytes) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(end - kPageBytes);
    const unsigned sum = std::accumulate(begin, begin + (kPageBytes - 1), 0U);
    bytes[end - 1] = static_cast<std::uint8_t>(0x100U - (sum & 0xFFU));
  }
}

}  // namespace

// Whatever a drive answers, what is made of it keeps its ranges, and what is not trusted has a
// reason. The first byte: what was asked (low 3 bits), whether pages are filled up with zeros (bit
// 6) and whether their sums are made right (bit 7), for no chance finds those.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > 8 * kPageBytes) return 0;
  std::vector<std::uint8_t> bytes(data + 1, data + size);
  if ((data[0] & 0x40) != 0) {
    bytes.resize(std::max<std::size_t>((bytes.size() + kPageBytes - 1) / kPageBytes, 1) *
                 kPageBytes);
  }
  if ((data[0] & 0x80) != 0) Seal(bytes);
  const std::size_t pages = bytes.size() / kPageBytes;
  switch (data[0] & 7) {
    case 0:
      TryIdentify(bytes);
      break;
    case 1:
      TrySmartData(bytes);
      break;
    case 2:
      TrySelfTests(DecodeSelfTestLog(bytes), 21);
      break;
    case 3:
      TrySelfTests(DecodeExtendedSelfTestLog(bytes), 19 * pages);
      break;
    case 4:
      TryErrors(DecodeSummaryErrorLog(bytes), 5);
      break;
    case 5:
      TryErrors(DecodeExtendedErrorLog(bytes), 4 * pages);
      break;
    case 6:
      for (std::uint8_t page = 0; page <= 8; ++page) TryStatistics(bytes, page);
      break;
    default:
      Checked(DecodeLogDirectory(bytes));
  }
  return 0;
}

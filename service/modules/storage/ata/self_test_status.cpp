#include "service/modules/storage/ata/self_test_status.h"

#include <algorithm>
#include <array>

#include "service/modules/storage/decoded.h"

namespace orvan::storage::ata {
namespace {

struct Row {
  SelfTestEnd end;
  bool isFailure;
  const char* words;
};
constexpr std::array<Row, 11> kRows = {{
    {SelfTestEnd::kCompleted, false, "completed without error"},
    {SelfTestEnd::kAborted, false, "aborted by a command"},
    {SelfTestEnd::kInterrupted, false, "interrupted by a reset"},
    {SelfTestEnd::kFatalError, true, "a fatal or unknown error, the test could not be completed"},
    {SelfTestEnd::kUnknownElement, true,
     "an element of the test failed, the drive does not say which"},
    {SelfTestEnd::kElectrical, true, "the electrical element of the test failed"},
    {SelfTestEnd::kServo, true, "the servo or seek element of the test failed"},
    {SelfTestEnd::kRead, true, "the read element of the test failed"},
    {SelfTestEnd::kHandlingDamage, true, "failed, the drive suspects handling damage"},
    {SelfTestEnd::kReserved, false, "an end that the standard does not have"},
    {SelfTestEnd::kRunning, false, "in progress"},
}};

const Row& RowOf(SelfTestEnd end) {
  return *std::find_if(kRows.begin(), kRows.end() - 1,
                       [end](const Row& row) { return row.end == end; });
}

}  // namespace

SelfTestStatus DecodeSelfTestStatus(std::uint8_t byte) {
  SelfTestStatus status;
  const unsigned end = byte >> 4U, tenths = byte & 0x0FU;
  const bool isReserved = end > 8 && end < 15;
  status.end = isReserved ? SelfTestEnd::kReserved : static_cast<SelfTestEnd>(end);
  if (tenths <= 9) status.percentLeft = static_cast<std::uint8_t>(10 * tenths);
  return status;
}

bool IsFailure(SelfTestEnd end) {
  return RowOf(end).isFailure;
}

const char* WordsOf(SelfTestEnd end) {
  return RowOf(end).words;
}

std::string SelfTestName(std::uint8_t number) {
  struct Name {
    std::uint8_t number;
    const char* name;
  };
  // Bit 7 is the captive form of the same test.
  static constexpr std::array<Name, 6> kNames = {{{0x00, "off-line data collection"},
                                                  {0x01, "short"},
                                                  {0x02, "extended"},
                                                  {0x03, "conveyance"},
                                                  {0x04, "selective"},
                                                  {0x7F, "abort"}}};
  const auto* name = std::find_if(kNames.begin(), kNames.end(), [number](const Name& row) {
    return row.number == number ||
           (row.number >= 1 && row.number <= 4 && row.number + 0x80 == number);
  });
  return name == kNames.end() ? HexByte(number) : name->name;
}

}  // namespace orvan::storage::ata

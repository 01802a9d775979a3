#include "service/modules/storage/scsi/control_page.h"

#include <algorithm>

namespace orvan::storage::scsi {
namespace {

constexpr std::size_t kHeadBytes = 8;
constexpr std::uint8_t kControlPage = 0x0A;
constexpr std::uint8_t kHasSubpage = 0x40;
constexpr std::size_t kPageBytes = 12;
constexpr std::uint16_t kLonger = 0xFFFF;

}  // namespace

Decoded<ControlPage> DecodeControlPage(Bytes answer) {
  if (answer.size() < kHeadBytes) {
    return Distrusted<ControlPage>(ShortAnswer(answer.size(), kHeadBytes));
  }
  // The length does not count itself.
  const std::size_t told = Big<std::uint16_t>(answer, 0) + std::size_t{2};
  const std::size_t at = kHeadBytes + Big<std::uint16_t>(answer, 6);
  const Bytes page = Part(Part(answer, 0, told), at);
  if (page.size() < kPageBytes) {
    return Distrusted<ControlPage>(ShortAnswer(std::min(answer.size(), told), at + kPageBytes));
  }
  const auto code = static_cast<std::uint8_t>(page[0] & 0x3F);
  if (code != kControlPage) return Distrusted<ControlPage>(OtherPage(code, kControlPage));
  if ((page[0] & kHasSubpage) != 0 || page[1] + std::size_t{2} < kPageBytes) {
    return Distrusted<ControlPage>("the control mode page has another form than the standard's");
  }
  ControlPage control;
  const auto seconds = Big<std::uint16_t>(page, 10);
  if (seconds != 0 && seconds != kLonger) control.extendedSelfTest = std::chrono::seconds(seconds);
  return {control, {}};
}

}  // namespace orvan::storage::scsi

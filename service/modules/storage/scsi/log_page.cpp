#include "service/modules/storage/scsi/log_page.h"

#include <algorithm>

namespace orvan::storage::scsi {
namespace {

constexpr std::size_t kHeadBytes = 4;

std::string HexCode(std::uint16_t code) {
  const std::string high = HexByte(static_cast<std::uint8_t>(code >> 8));
  return high.substr(0, 2) + HexByte(static_cast<std::uint8_t>(code & 0xFF));
}

// What stands behind the head of a page; of one that was cut, as much as came, with trouble.
Decoded<Bytes> BodyOf(Bytes answer, std::uint8_t page, std::uint8_t subpage) {
  if (answer.size() < kHeadBytes) {
    return Distrusted<Bytes>(ShortAnswer(answer.size(), kHeadBytes));
  }
  const std::uint8_t found = answer[0] & 0x3F;
  if (found != page) return Distrusted<Bytes>(OtherPage(found, page));
  const bool hasSubpages = (answer[0] & 0x40) != 0;
  const std::uint8_t foundSubpage = hasSubpages ? answer[1] : std::uint8_t{0};
  if (foundSubpage != subpage) {
    return Distrusted<Bytes>("the subpage is " + HexByte(foundSubpage) + ", " + HexByte(subpage) +
                             " was asked for");
  }
  const std::size_t size = Big<std::uint16_t>(answer, 2);
  const Bytes body = Part(answer, kHeadBytes, size);
  if (body.size() < size) return {body, ShortAnswer(answer.size(), kHeadBytes + size)};
  return {body, ""};
}

}  // namespace

Decoded<LogParameters> DecodeLogPage(Bytes answer, std::uint8_t page, std::uint8_t subpage) {
  const Decoded<Bytes> body = BodyOf(answer, page, subpage);
  if (!body.value) return Distrusted<LogParameters>(body.trouble);
  const Bytes list = *body.value;
  const std::size_t pageBytes = Big<std::uint16_t>(answer, 2);
  LogParameters parameters;
  std::size_t at = 0;
  while (Holds(list, at, kHeadBytes)) {
    const auto code = Big<std::uint16_t>(list, at);
    const std::size_t size = list[at + 3];
    const std::size_t left = pageBytes - at - kHeadBytes;
    if (size > left) {
      return Distrusted<LogParameters>("the parameter " + HexCode(code) + " has " +
                                       std::to_string(size) + " bytes, its page has " +
                                       std::to_string(left) + " left");
    }
    if (!Holds(list, at + kHeadBytes, size)) break;
    parameters.push_back({code, Part(list, at + kHeadBytes, size)});
    at += kHeadBytes + size;
  }
  if (at < list.size() && body.trouble.empty()) {
    return {std::move(parameters), "the page ends within the head of a parameter"};
  }
  return {std::move(parameters), body.trouble};
}

std::optional<Bytes> ValueOf(const LogParameters& parameters, std::uint16_t code) {
  const auto found =
      std::find_if(parameters.begin(), parameters.end(),
                   [code](const LogParameter& parameter) { return parameter.code == code; });
  if (found == parameters.end()) return {};
  return found->value;
}

std::optional<std::uint64_t> CounterOf(Bytes value) {
  constexpr std::size_t kMostBytes = 8;
  if (value.empty()) return {};
  const std::size_t above = value.size() > kMostBytes ? value.size() - kMostBytes : 0;
  if (!IsAll(Part(value, 0, above), 0)) return {};
  std::uint64_t counter = 0;
  for (const std::uint8_t byte : Part(value, above)) counter = counter << 8 | byte;
  return counter;
}

Decoded<std::vector<LogPageName>> DecodeSupportedLogPages(Bytes answer, std::uint8_t subpage) {
  using Names = std::vector<LogPageName>;
  const Decoded<Bytes> body = BodyOf(answer, kSupportedLogPages, subpage);
  if (!body.value) return Distrusted<Names>(body.trouble);
  const std::size_t size = subpage == kAllSubpages ? 2 : 1;
  Names names;
  for (std::size_t at = 0; Holds(*body.value, at, size); at += size) {
    const auto page = static_cast<std::uint8_t>((*body.value)[at] & 0x3F);
    names.push_back({page, size == 2 ? (*body.value)[at + 1] : std::uint8_t{0}});
  }
  const bool isOdd = body.value->size() % size != 0 && body.trouble.empty();
  return {std::move(names), isOdd ? "the list ends within a page's name" : body.trouble};
}

}  // namespace orvan::storage::scsi

#include "service/modules/storage/scsi/designators.h"

#include <algorithm>
#include <cctype>

#include "service/modules/storage/scsi/vital_pages.h"

namespace orvan::storage::scsi {
namespace {

using Type = Designator::Type;

constexpr std::size_t kHeadBytes = 4;

bool IsNaa(const std::vector<std::uint8_t>& value) {
  if (value.empty()) return false;
  // Formats 2h, 3h and 5h have 8 bytes, 6h has 16.
  const unsigned format = value[0] >> 4U;
  return format == 6 ? value.size() == 16
                     : (format == 2 || format == 3 || format == 5) && value.size() == 8;
}

bool IsEui(const std::vector<std::uint8_t>& value) {
  const std::size_t size = value.size();
  return (size == 8 || size == 12 || size == 16) && !IsAll(value, 0) && !IsAll(value, 0xFF);
}

std::string Digits(const std::vector<std::uint8_t>& value) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : value) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  return text;
}

// "naa." or "eui." and hexadecimal digits, in lower case; empty for any other name.
std::string NameAsText(const std::vector<std::uint8_t>& value) {
  std::string text = DeviceText(value);
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const bool hasHead = text.starts_with("naa.") || text.starts_with("eui.");
  const bool isNumber =
      text.size() > 4 && text.find_first_not_of("0123456789abcdef", 4) == std::string::npos;
  return hasHead && isNumber ? text : std::string();
}

std::string NameOf(const Designator& designator, Type type) {
  if (designator.of != Designator::Of::kLogicalUnit || designator.type != type) return {};
  if (type == Type::kName) return NameAsText(designator.value);
  if (designator.isText) return {};
  if (type == Type::kNaa && IsNaa(designator.value)) return "naa." + Digits(designator.value);
  if (type == Type::kEui64 && IsEui(designator.value)) return "eui." + Digits(designator.value);
  return {};
}

}  // namespace

Decoded<std::vector<Designator>> DecodeDesignators(Bytes answer) {
  using Designators = std::vector<Designator>;
  const Decoded<Bytes> body = VitalPageBody(answer, kDesignatorsPage);
  if (!body.value) return Distrusted<Designators>(body.trouble);
  const Bytes list = *body.value;
  const bool isCut = !body.trouble.empty();
  Designators found;
  std::size_t at = 0;
  while (Holds(list, at, kHeadBytes)) {
    const std::size_t size = list[at + 3];
    if (!Holds(list, at + kHeadBytes, size)) break;
    Designator designator;
    designator.type = static_cast<Type>(list[at + 1] & 0x0F);
    designator.of = static_cast<Designator::Of>(list[at + 1] >> 4 & 3);
    designator.isText = (list[at] & 0x0F) != 1;
    const Bytes value = Part(list, at + kHeadBytes, size);
    designator.value.assign(value.begin(), value.end());
    found.push_back(std::move(designator));
    at += kHeadBytes + size;
  }
  if (at < list.size() && !isCut) {
    return Distrusted<Designators>("the name at byte " + std::to_string(kHeadBytes + at) +
                                   " reaches past the end of the page");
  }
  return {std::move(found), body.trouble};
}

std::string WorldWideName(const std::vector<Designator>& designators) {
  for (const Type type : {Type::kNaa, Type::kEui64, Type::kName}) {
    std::string longest;
    for (const Designator& designator : designators) {
      const std::string name = NameOf(designator, type);
      if (name.size() > longest.size()) longest = name;
    }
    if (!longest.empty()) return longest;
  }
  return {};
}

}  // namespace orvan::storage::scsi

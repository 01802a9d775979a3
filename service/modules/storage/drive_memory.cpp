#include "service/modules/storage/drive_memory.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include "service/modules/storage/words.h"
#include "service/sdk/numbers.h"

namespace orvan::storage {
namespace {

constexpr std::string_view kHead = "drive memory 1\n";
constexpr std::string_view kSum = "sum ";
constexpr char kNobody[] =
    "the drive has neither a world-wide name nor a serial number by which it would be known again";

// FNV-1a, in hexadecimal digits: it finds damage, and guards against nobody.
std::string HashOf(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char byte : text) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (int shift = 60; shift >= 0; shift -= 4) digits += kDigits[hash >> shift & 0xFU];
  return digits;
}

// The identity stands in the name alone, as text: there a recording puts something else in its
// place, as it does where the drive tells it, and a replay finds the file again. The end of one
// that is too long tells more than its beginning, which is of the maker.
std::string FileName(const std::string& test, const std::string& identity) {
  constexpr std::size_t kLongest = 120;
  std::string name;
  for (const char byte : identity) {
    const bool isPlain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                         (byte >= 'a' && byte <= 'z') || byte == '_' || byte == '.';
    name += isPlain ? byte : '-';
  }
  const std::size_t most = kLongest - test.size();
  return test + '-' + (name.size() > most ? name.substr(name.size() - most) : name);
}

// The next line of `text`, which loses it.
std::string_view NextLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line;
}

std::optional<DriveMemory::Numbers> NumbersIn(std::string_view lines) {
  DriveMemory::Numbers numbers;
  while (!lines.empty()) {
    const std::string_view line = NextLine(lines);
    const std::size_t blank = line.find(' ');
    if (blank == std::string_view::npos) return {};
    const auto number = sdk::NumberIn(std::string(line.substr(blank + 1)));
    if (!number) return {};
    numbers[std::string(line.substr(0, blank))] = *number;
  }
  return numbers;
}

}  // namespace

DriveMemory::DriveMemory(sdk::ModuleState& state, const Disk& disk, const std::string& test)
    : state_(state) {
  if (!HardwareIdentity(disk.Facts()).empty()) file_ = FileName(test, disk.UniqueId());
}

DriveMemory::Kept DriveMemory::Read() const {
  if (file_.empty()) return {{}, kNobody};
  int error = 0;
  const std::optional<std::string> content = state_.Read(file_, error);
  if (error != 0) {
    return {{}, "what was kept of the last run cannot be read, " + words::ErrorText(error)};
  }
  if (!content) return {};
  const std::size_t sumAt = content->rfind(kSum);
  if (content->starts_with(kHead) && sumAt != std::string::npos && sumAt >= kHead.size()) {
    const std::string lines = content->substr(kHead.size(), sumAt - kHead.size());
    const bool isWhole = content->substr(sumAt + kSum.size()) == HashOf(lines) + '\n';
    if (auto numbers = isWhole ? NumbersIn(lines) : std::nullopt) return {std::move(numbers), {}};
  }
  return {{}, "what was kept of the last run is damaged"};
}

std::string DriveMemory::Keep(const Numbers& numbers) {
  if (file_.empty()) return kNobody;
  std::string lines;
  for (const auto& [name, number] : numbers) lines += name + ' ' + std::to_string(number) + '\n';
  const std::string sum = std::string(kSum) + HashOf(lines) + '\n';
  const int error = state_.Replace(file_, std::string(kHead) + lines + sum);
  if (error == 0) return {};
  return "what was found cannot be kept for the next run, " + words::ErrorText(error);
}

}  // namespace orvan::storage

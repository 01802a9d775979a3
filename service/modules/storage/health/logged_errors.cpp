#include "service/modules/storage/health/logged_errors.h"

#include <algorithm>
#include <utility>

#include "service/modules/storage/health/error_logs.h"

namespace orvan::storage {

using Kind = DriveAnswer::Kind;

LoggedErrors NoErrors(DriveTrouble trouble) {
  LoggedErrors errors;
  errors.trouble = std::move(trouble);
  return errors;
}

std::uint64_t MixedId(std::initializer_list<std::uint64_t> numbers) {
  std::uint64_t mixed = 0xCBF29CE484222325;
  for (const std::uint64_t number : numbers) {
    mixed = (mixed ^ number) * 0x9E3779B97F4A7C15;
    mixed ^= mixed >> 32;
  }
  return mixed == 0 ? 1 : mixed;
}

LoggedErrors ReadLoggedErrors(DriveLink& link) {
  if (!link.Opening().IsDone()) return NoErrors({link.Opening().kind, link.Opening().reason});
  switch (link.Protocol()) {
    case DriveProtocol::kAta:
      return ReadAtaErrors(link);
    case DriveProtocol::kNvme:
      return ReadNvmeErrors(link);
    case DriveProtocol::kScsi:
      return ReadScsiErrors(link);
    case DriveProtocol::kNone:
      break;
  }
  return NoErrors({Kind::kNotSupported, "the drive answers no commands"});
}

NewErrors NewOf(const ErrorSource& source) {
  NewErrors found;
  found.count = std::max<std::uint64_t>(source.count, source.entries.size());
  found.entries = source.entries.size();
  found.isAtLeast = source.isCountFull;
  return found;
}

NewErrors NewSince(const ErrorSource& source, std::uint64_t countBefore,
                   std::uint64_t newestBefore) {
  const std::uint64_t newest = source.entries.empty() ? 0 : source.entries.front().id;
  const auto known =
      std::find_if(source.entries.begin(), source.entries.end(),
                   [newestBefore](const LoggedError& one) { return one.id == newestBefore; });
  const auto place = static_cast<std::uint64_t>(known - source.entries.begin());
  const bool isKnown = newestBefore != 0 && known != source.entries.end();
  if (source.count == countBefore && newest == newestBefore) return {};
  if (source.count == countBefore && source.isCountFull) {
    return {place, place, !isKnown, false};
  }
  if (source.count <= countBefore) {
    NewErrors all = NewOf(source);
    all.wasCleared = true;
    return all;
  }
  const std::uint64_t count = source.count - countBefore;
  return {count, std::min<std::uint64_t>(count, source.entries.size()), source.isCountFull, false};
}

}  // namespace orvan::storage

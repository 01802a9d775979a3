#pragma once

#include <optional>
#include <string>
#include <utility>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/drive/drive_link.h"

// Asking a drive and making out what it says, in one. The thread of the link.
namespace orvan::storage {

// What a drive did not tell, or is not trusted in, as plain text that names the command.
struct DriveTrouble {
  DriveAnswer::Kind kind = DriveAnswer::Kind::kDone;  // kDone: a part only is not trusted
  std::string text;

  bool operator==(const DriveTrouble&) const = default;
};

// Whether such an answer makes all that is still to be asked of the drive worth nothing.
constexpr bool EndsAsking(DriveAnswer::Kind kind) {
  using Kind = DriveAnswer::Kind;
  return kind == Kind::kGone || kind == Kind::kTimedOut || kind == Kind::kCanceled ||
         kind == Kind::kNoPrivilege;
}

// What was asked for, with its trouble; or why it is none.
template <typename T>
struct Asked {
  std::optional<T> value;
  DriveTrouble trouble;  // without a text: there is none
};

// `decode` makes a Decoded<T> of Bytes.
template <typename Decode>
auto Ask(DriveLink& link, DriveRequest request, const RequestDetails& details, Decode decode)
    -> Asked<typename decltype(decode(Bytes()).value)::value_type> {
  const DriveAnswer answer = link.Send(request, details);
  if (!answer.IsDone()) return {std::nullopt, {answer.kind, answer.reason}};
  auto decoded = decode(Bytes(answer.data));
  DriveTrouble trouble{decoded.value ? DriveAnswer::Kind::kDone : link.KindOfNonsense(),
                       std::move(decoded.trouble)};
  if (!trouble.text.empty()) trouble.text = std::string(RowOf(request).name) + ": " + trouble.text;
  return {std::move(decoded.value), std::move(trouble)};
}

}  // namespace orvan::storage

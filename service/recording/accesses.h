#pragma once

#include "service/recording/fields.h"
#include "service/sdk/machine.h"

// What a machine can be asked for, as fields: the kind, and what tells one access of it from
// another. Any thread.
namespace orvan::recording {

// The kinds of accesses, the first field of each.
namespace kind {
inline constexpr char kBegin[] = "begin";
inline constexpr char kNow[] = "now";
inline constexpr char kBytes[] = "bytes";
inline constexpr char kPart[] = "part";
inline constexpr char kLink[] = "link";
inline constexpr char kList[] = "list";
inline constexpr char kExists[] = "exists";
inline constexpr char kOpenReader[] = "open-reader";
inline constexpr char kCollect[] = "collect";
inline constexpr char kReadTimes[] = "read-times";
inline constexpr char kOpenWriter[] = "open-writer";
inline constexpr char kWrite[] = "write";
inline constexpr char kRead[] = "read";
inline constexpr char kFlush[] = "flush";
inline constexpr char kProbe[] = "probe";
inline constexpr char kSend[] = "send";
inline constexpr char kChance[] = "chance";
inline constexpr char kPin[] = "pin";
inline constexpr char kLockMemory[] = "lock-memory";
inline constexpr char kPhysical[] = "physical";
inline constexpr char kStateRead[] = "state-read";
inline constexpr char kStateReplace[] = "state-replace";
inline constexpr char kStateAppend[] = "state-append";
inline constexpr char kStateRemove[] = "state-remove";
inline constexpr char kStateList[] = "state-list";
inline constexpr char kLeftBehind[] = "left-behind";
}  // namespace kind

// The fields of a command behind its kind, and of the options of an opening.
void Write(FieldWriter& fields, const sdk::DriveCommand& command);
void Write(FieldWriter& fields, const sdk::BlockReaderOptions& options);
void Write(FieldWriter& fields, const sdk::BlockWriterOptions& options);

}  // namespace orvan::recording

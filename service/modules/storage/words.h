#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/drive/drive_answer.h"
#include "service/sdk/verdict.h"

// What several tests of the module say to the operator, as message keys: "_" is a blank, "|" keeps
// the next letter a capital.
namespace orvan::storage::words {

inline constexpr char kNoDisk[] = "|NO_DISK_TO_TEST";
inline constexpr char kNoCapacity[] = "|THE_DISK_HAS_NO_CAPACITY";
inline constexpr char kNoMedium[] = "|NO_MEDIUM_IN_THE_DRIVE";
inline constexpr char kLocked[] =
    "|THE_DRIVE_IS_LOCKED_BY_A_PASSWORD,_SO_NOTHING_ON_IT_CAN_BE_READ";

// The key that is shown as `text`, with its capitals: names of commands have some. A '_' of it is
// shown as a blank and a '|' as '/', for a drive may write both.
std::string TextKey(std::string_view text);
// The same of a sentence, which begins with a capital.
std::string SentenceKey(std::string text);

// "LBA 2048", "error 5 (input/output error)" and "30 seconds".
std::string LbaKey(std::uint64_t lba);
std::string NumberedErrorKey(int error);
std::string SecondsKey(std::chrono::seconds seconds);
// The text with its blanks as those of a key; its capitals are lost where it is shown.
std::string AsKey(std::string text);

// "input/output error": what an error is called, as plain text; "unknown error" for any other.
std::string ErrorWords(int error);
// "error 13 (permission denied)", as plain text; of 0 "no usable value", see FileTrouble.
std::string ErrorText(int error);
// What of a disk could not be read, and why, as plain text; empty: nothing.
std::string UnreadText(const DiskFacts& facts);
// Why a disk that the scan could not look at as it should have is not tested; none: it could.
std::optional<std::string> UntestableKey(const DiskFacts& facts);

// On a drive that did not answer what a test asked of it, whatever its kind but kDone.
sdk::Verdict NoAnswerVerdict(DriveAnswer::Kind kind, const std::string& reason);

}  // namespace orvan::storage::words

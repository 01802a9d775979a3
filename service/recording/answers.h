#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "service/recording/fields.h"
#include "service/sdk/machine.h"

// What a machine answers, each answer as fields. docs/recordings.md has
// the same as a table. What reads throws RecordingFault. Any thread.
namespace orvan::recording {

// A text, or that there is none, or why it could not be read.
struct TextAnswer {
  int error = 0;
  std::optional<std::string> text;
  std::optional<std::string> hash = {};  // of what may hold anything; `text` is then empty
};

inline constexpr std::size_t kMostNames = 1U << 18;
struct NamesAnswer {
  int error = 0;
  std::vector<std::string> names;
};

struct FlagAnswer {
  int error = 0;
  bool isSet = false;
};

// A reader or a writer that was opened is called by a name in what follows.
struct ReaderAnswer {
  sdk::OpenFailure failure = sdk::OpenFailure::kNone;
  int error = 0;
  std::string name;  // this and what follows: of one that was opened
  sdk::BlockGeometry geometry;
  std::uint32_t capacity = 0;
};

// Reads of one size that lie side by side and ended alike, in the order in which they ended.
struct CollectedReads {
  std::uint64_t offsetBytes = 0;
  std::uint32_t sizeBytes = 0;
  std::uint32_t count = 1;
  sdk::ReadOutcome outcome = sdk::ReadOutcome::kRead;
  int error = 0;
};

struct CollectAnswer {
  sdk::ReaderState state = sdk::ReaderState::kWorking;
  std::vector<CollectedReads> reads;
};

// Of the reads of a CollectAnswer, in their order.
struct ReadTimesAnswer {
  struct Times {
    std::chrono::microseconds took{};
    std::chrono::microseconds ended{};
  };
  std::vector<Times> reads;
};

struct WriterAnswer {
  sdk::WriteRefusal refusal = sdk::WriteRefusal::kNone;
  int error = 0;
  std::string user;
  std::string name;  // this and what follows: of one that was opened
  sdk::BlockGeometry geometry;
};

struct TransferAnswer {
  sdk::TransferResult result;
  std::string hash;          // of what was transferred; empty of a flush, and of what was not done
  bool isAsWritten = false;  // of a read: all of it is as the same writer last wrote it
};

// What a drive answered. Where the data is what lies on a medium, its length and its hash stand for
// it.
struct SentAnswer {
  sdk::CommandAnswer answer;
  std::uint32_t hiddenBytes = 0;  // not 0: so many, and `answer.data` is empty
  std::string hash;
};

struct MemoryAnswer {
  int error = 0;
  std::string name;  // of memory that was locked
};

struct StateAnswer {
  int error = 0;
  std::optional<std::string> text;
  // Of what is no text, a long one, or one with secrets; `text` is then empty.
  std::optional<std::string> hash;
};

void Write(FieldWriter& fields, const TextAnswer& answer);
void Write(FieldWriter& fields, const NamesAnswer& answer);
void Write(FieldWriter& fields, const FlagAnswer& answer);
void Write(FieldWriter& fields, const ReaderAnswer& answer);
void Write(FieldWriter& fields, const CollectAnswer& answer);
void Write(FieldWriter& fields, const ReadTimesAnswer& answer);
void Write(FieldWriter& fields, const WriterAnswer& answer);
void Write(FieldWriter& fields, const TransferAnswer& answer);
void Write(FieldWriter& fields, const std::optional<sdk::FilesystemFacts>& answer);
void Write(FieldWriter& fields, const SentAnswer& answer);
void Write(FieldWriter& fields, const MemoryAnswer& answer);
void Write(FieldWriter& fields, const StateAnswer& answer);
void Write(FieldWriter& fields, const std::optional<std::uint64_t>& answer);
void Write(FieldWriter& fields, std::uint64_t number);

void Read(FieldReader& fields, TextAnswer& answer);
void Read(FieldReader& fields, NamesAnswer& answer);
void Read(FieldReader& fields, FlagAnswer& answer);
void Read(FieldReader& fields, ReaderAnswer& answer);
void Read(FieldReader& fields, CollectAnswer& answer);
void Read(FieldReader& fields, ReadTimesAnswer& answer);
void Read(FieldReader& fields, WriterAnswer& answer);
void Read(FieldReader& fields, TransferAnswer& answer);
void Read(FieldReader& fields, std::optional<sdk::FilesystemFacts>& answer);
void Read(FieldReader& fields, SentAnswer& answer);
void Read(FieldReader& fields, MemoryAnswer& answer);
void Read(FieldReader& fields, StateAnswer& answer);
void Read(FieldReader& fields, std::optional<std::uint64_t>& answer);
void Read(FieldReader& fields, std::uint64_t& number);

// The whole of an answer.
template <typename Answer>
Answer AnswerOf(std::string_view text) {
  FieldReader fields(text);
  Answer answer{};
  Read(fields, answer);
  fields.End();
  return answer;
}

// Throws when `answer` is none of the kind of access that `access` begins with, or there is no such
// kind.
void CheckAnswer(std::string_view access, std::string_view answer);

}  // namespace orvan::recording

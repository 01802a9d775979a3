#include "service/recording/answers.h"

#include <algorithm>
#include <array>

#include "service/recording/accesses.h"

namespace orvan::recording {
namespace {

constexpr std::size_t kLongestName = 64;  // of a reader, a writer or memory
constexpr std::size_t kLongestPath = 4096;
constexpr std::size_t kLongestHash = 128;
// No reader has more reads to end at once.
constexpr std::size_t kMostLots = sdk::kMostReadsInFlight + sdk::kMostReadsQueued;
constexpr std::uint64_t kLongestReading = std::uint64_t{1} << 52;  // microseconds
constexpr std::size_t kLongestText = 64U << 20;                    // of a file
constexpr std::uint64_t kHashStandsForIt = 2;
constexpr std::size_t kMostSense = 255;  // Source: SPC-5, 4.4.2: at most 252 bytes

template <typename Enum>
Enum EnumOf(FieldReader& fields, Enum last) {
  return static_cast<Enum>(fields.Number(static_cast<std::uint64_t>(last)));
}

template <typename Enum>
std::uint64_t NumberOf(Enum value) {
  return static_cast<std::uint64_t>(value);
}

// A geometry is used as divisor and size by whoever gets it.
void Read(FieldReader& fields, sdk::BlockGeometry& geometry) {
  const auto isPower = [](std::uint32_t bytes) { return bytes != 0 && (bytes & (bytes - 1)) == 0; };
  geometry.sizeBytes = fields.Number(std::uint64_t{1} << 62);
  geometry.logicalSectorBytes = fields.NumberAs<std::uint32_t>(1U << 20);
  geometry.physicalSectorBytes = fields.NumberAs<std::uint32_t>(1U << 30);
  if (!isPower(geometry.logicalSectorBytes) || geometry.logicalSectorBytes < 512) {
    throw RecordingFault("no sector has that size");
  }
}

void Write(FieldWriter& fields, const sdk::BlockGeometry& geometry) {
  fields.Number(geometry.sizeBytes)
      .Number(geometry.logicalSectorBytes)
      .Number(geometry.physicalSectorBytes);
}

std::string BytesText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

std::vector<std::uint8_t> BytesOf(FieldReader& fields, std::size_t limit) {
  const std::string text = fields.Text(limit);
  return {text.begin(), text.end()};
}

void WriteOptional(FieldWriter& fields, const std::optional<std::string>& text) {
  fields.Flag(text.has_value());
  if (text) fields.Text(*text);
}

std::optional<std::string> OptionalOf(FieldReader& fields, std::size_t limit) {
  if (!fields.Flag()) return {};
  return fields.Text(limit);
}

}  // namespace

void Write(FieldWriter& fields, const TextAnswer& answer) {
  fields.Error(answer.error);
  if (!answer.hash) return WriteOptional(fields, answer.text);
  fields.Number(kHashStandsForIt).Text(*answer.hash);
}

void Read(FieldReader& fields, TextAnswer& answer) {
  answer.error = fields.Error();
  const std::uint64_t form = fields.Number(kHashStandsForIt);
  if (form == 1) answer.text = fields.Text(kLongestText);
  if (form == kHashStandsForIt) answer.hash = fields.Text(kLongestHash);
}

void Write(FieldWriter& fields, const NamesAnswer& answer) {
  fields.Error(answer.error);
  for (const std::string& name : answer.names) fields.Text(name);
}

void Read(FieldReader& fields, NamesAnswer& answer) {
  answer.error = fields.Error();
  while (!fields.IsAtEnd()) {
    if (answer.names.size() == kMostNames) throw RecordingFault("there are too many names");
    answer.names.push_back(fields.Text(kLongestPath));
  }
}

void Write(FieldWriter& fields, const FlagAnswer& answer) {
  fields.Error(answer.error).Flag(answer.isSet);
}

void Read(FieldReader& fields, FlagAnswer& answer) {
  answer.error = fields.Error();
  answer.isSet = fields.Flag();
}

void Write(FieldWriter& fields, const ReaderAnswer& answer) {
  fields.Number(NumberOf(answer.failure)).Error(answer.error);
  if (answer.failure != sdk::OpenFailure::kNone) return;
  fields.Text(answer.name);
  Write(fields, answer.geometry);
  fields.Number(answer.capacity);
}

void Read(FieldReader& fields, ReaderAnswer& answer) {
  answer.failure = EnumOf(fields, sdk::OpenFailure::kStopped);
  answer.error = fields.Error();
  if (answer.failure != sdk::OpenFailure::kNone) return;
  answer.name = fields.Text(kLongestName);
  Read(fields, answer.geometry);
  answer.capacity = fields.NumberAs<std::uint32_t>(sdk::kMostReadsInFlight + sdk::kMostReadsQueued);
  if (answer.capacity == 0) throw RecordingFault("a reader takes at least one read");
}

void Write(FieldWriter& fields, const CollectAnswer& answer) {
  fields.Number(NumberOf(answer.state));
  for (const CollectedReads& reads : answer.reads) {
    fields.Number(reads.offsetBytes)
        .Number(reads.sizeBytes)
        .Number(reads.count)
        .Number(NumberOf(reads.outcome))
        .Error(reads.error);
  }
}

void Read(FieldReader& fields, CollectAnswer& answer) {
  answer.state = EnumOf(fields, sdk::ReaderState::kLost);
  while (!fields.IsAtEnd()) {
    if (answer.reads.size() == kMostLots) throw RecordingFault("there are too many reads");
    CollectedReads reads;
    reads.offsetBytes = fields.Number(std::uint64_t{1} << 62);
    reads.sizeBytes = fields.NumberAs<std::uint32_t>(sdk::kLargestReadBytes);
    reads.count = fields.NumberAs<std::uint32_t>(sdk::kMostReadsInFlight + sdk::kMostReadsQueued);
    reads.outcome = EnumOf(fields, sdk::ReadOutcome::kNotTried);
    reads.error = fields.Error();
    answer.reads.push_back(reads);
  }
}

void Write(FieldWriter& fields, const ReadTimesAnswer& answer) {
  for (const ReadTimesAnswer::Times& times : answer.reads) {
    fields.Number(static_cast<std::uint64_t>(times.took.count()))
        .Number(static_cast<std::uint64_t>(times.ended.count()));
  }
}

void Read(FieldReader& fields, ReadTimesAnswer& answer) {
  const auto time = [&fields] { return std::chrono::microseconds(fields.Number(kLongestReading)); };
  while (!fields.IsAtEnd()) {
    if (answer.reads.size() == kMostLots) throw RecordingFault("there are too many reads");
    ReadTimesAnswer::Times times;
    times.took = time();
    times.ended = time();
    if (times.took > times.ended) throw RecordingFault("a read ended before it had begun");
    answer.reads.push_back(times);
  }
}

void Write(FieldWriter& fields, const WriterAnswer& answer) {
  fields.Number(NumberOf(answer.refusal)).Error(answer.error).Text(answer.user);
  if (answer.refusal != sdk::WriteRefusal::kNone) return;
  fields.Text(answer.name);
  Write(fields, answer.geometry);
}

void Read(FieldReader& fields, WriterAnswer& answer) {
  answer.refusal = EnumOf(fields, sdk::kLastWriteRefusal);
  answer.error = fields.Error();
  answer.user = fields.Text(kLongestPath);
  if (answer.refusal != sdk::WriteRefusal::kNone) return;
  answer.name = fields.Text(kLongestName);
  Read(fields, answer.geometry);
}

void Write(FieldWriter& fields, const TransferAnswer& answer) {
  fields.Number(NumberOf(answer.result.outcome)).Error(answer.result.error).Text(answer.hash);
  if (answer.isAsWritten) fields.Flag(true);
}

void Read(FieldReader& fields, TransferAnswer& answer) {
  answer.result.outcome = EnumOf(fields, sdk::TransferResult::Outcome::kStopped);
  answer.result.error = fields.Error();
  answer.hash = fields.Text(kLongestHash);
  answer.isAsWritten = !fields.IsAtEnd() && fields.Flag();
}

void Write(FieldWriter& fields, const std::optional<sdk::FilesystemFacts>& answer) {
  fields.Flag(answer.has_value());
  if (!answer) return;
  fields.Text(answer->tableType).Text(answer->fileSystem).Text(answer->label);
  fields.Flag(answer->use.has_value());
  if (answer->use) fields.Number(answer->use->usedBytes).Number(answer->use->freeBytes);
}

void Read(FieldReader& fields, std::optional<sdk::FilesystemFacts>& answer) {
  if (!fields.Flag()) return;
  answer = sdk::FilesystemFacts{};
  answer->tableType = fields.Text(kLongestPath);
  answer->fileSystem = fields.Text(kLongestPath);
  answer->label = fields.Text(kLongestPath);
  if (!fields.Flag()) return;
  answer->use = sdk::FilesystemFacts::Use{};
  answer->use->usedBytes = fields.Number();
  answer->use->freeBytes = fields.Number();
}

void Write(FieldWriter& fields, const SentAnswer& sent) {
  const sdk::CommandAnswer& answer = sent.answer;
  fields.Number(NumberOf(answer.outcome)).Error(answer.error).Number(answer.scsiStatus);
  fields.Text(BytesText(answer.sense)).Flag(answer.hasRegisters);
  if (answer.hasRegisters) {
    const sdk::AtaRegisters& registers = answer.registers;
    fields.Number(registers.error)
        .Number(registers.status)
        .Number(registers.device)
        .Number(registers.count)
        .Number(registers.lba);
  }
  fields.Number(answer.nvmeStatus).Number(answer.nvmeResult);
  fields.Number(sent.hiddenBytes);
  fields.Text(sent.hiddenBytes == 0 ? BytesText(answer.data) : sent.hash);
}

void Read(FieldReader& fields, SentAnswer& sent) {
  sdk::CommandAnswer& answer = sent.answer;
  answer.outcome = EnumOf(fields, sdk::CommandAnswer::Outcome::kNotTried);
  answer.error = fields.Error();
  answer.scsiStatus = fields.NumberAs<std::uint8_t>();
  answer.sense = BytesOf(fields, kMostSense);
  answer.hasRegisters = fields.Flag();
  if (answer.hasRegisters) {
    sdk::AtaRegisters& registers = answer.registers;
    registers.error = fields.NumberAs<std::uint8_t>();
    registers.status = fields.NumberAs<std::uint8_t>();
    registers.device = fields.NumberAs<std::uint8_t>();
    registers.count = fields.NumberAs<std::uint16_t>();
    registers.lba = fields.Number((std::uint64_t{1} << 48) - 1);
  }
  answer.nvmeStatus = fields.NumberAs<std::uint16_t>();
  answer.nvmeResult = fields.NumberAs<std::uint32_t>();
  sent.hiddenBytes = fields.NumberAs<std::uint32_t>(sdk::kLargestCommandBytes);
  if (sent.hiddenBytes == 0) {
    answer.data = BytesOf(fields, sdk::kLargestCommandBytes);
  } else {
    sent.hash = fields.Text(kLongestHash);
  }
}

void Write(FieldWriter& fields, const MemoryAnswer& answer) {
  fields.Error(answer.error).Text(answer.name);
}

void Read(FieldReader& fields, MemoryAnswer& answer) {
  answer.error = fields.Error();
  answer.name = fields.Text(kLongestName);
}

void Write(FieldWriter& fields, const StateAnswer& answer) {
  fields.Error(answer.error);
  WriteOptional(fields, answer.text);
  WriteOptional(fields, answer.hash);
}

void Read(FieldReader& fields, StateAnswer& answer) {
  answer.error = fields.Error();
  answer.text = OptionalOf(fields, sdk::ModuleState::kLargestBytes);
  answer.hash = OptionalOf(fields, kLongestHash);
}

void Write(FieldWriter& fields, const std::optional<std::uint64_t>& answer) {
  fields.Flag(answer.has_value());
  if (answer) fields.Number(*answer);
}

void Read(FieldReader& fields, std::optional<std::uint64_t>& answer) {
  if (fields.Flag()) answer = fields.Number();
}

void Write(FieldWriter& fields, std::uint64_t number) {
  fields.Number(number);
}

void Read(FieldReader& fields, std::uint64_t& number) {
  number = fields.Number();
}

namespace {

template <typename Answer>
void Check(std::string_view answer) {
  AnswerOf<Answer>(answer);
}

struct Kind {
  std::string_view name;
  void (*check)(std::string_view answer);
};

constexpr std::array<Kind, 26> kKinds = {{
    {kind::kBegin, Check<std::uint64_t>},
    {kind::kNow, Check<std::uint64_t>},
    {kind::kBytes, Check<TextAnswer>},
    {kind::kPart, Check<TextAnswer>},
    {kind::kLink, Check<TextAnswer>},
    {kind::kList, Check<NamesAnswer>},
    {kind::kExists, Check<FlagAnswer>},
    {kind::kOpenReader, Check<ReaderAnswer>},
    {kind::kCollect, Check<CollectAnswer>},
    {kind::kReadTimes, Check<ReadTimesAnswer>},
    {kind::kOpenWriter, Check<WriterAnswer>},
    {kind::kWrite, Check<TransferAnswer>},
    {kind::kRead, Check<TransferAnswer>},
    {kind::kFlush, Check<TransferAnswer>},
    {kind::kProbe, Check<std::optional<sdk::FilesystemFacts>>},
    {kind::kSend, Check<SentAnswer>},
    {kind::kChance, Check<std::uint64_t>},
    {kind::kPin, Check<std::uint64_t>},
    {kind::kLockMemory, Check<MemoryAnswer>},
    {kind::kPhysical, Check<std::optional<std::uint64_t>>},
    {kind::kStateRead, Check<StateAnswer>},
    {kind::kStateReplace, Check<std::uint64_t>},
    {kind::kStateAppend, Check<std::uint64_t>},
    {kind::kStateRemove, Check<std::uint64_t>},
    {kind::kStateList, Check<NamesAnswer>},
    {kind::kLeftBehind, Check<std::uint64_t>},
}};

}  // namespace

void CheckAnswer(std::string_view access, std::string_view answer) {
  const std::string_view name = access.substr(0, access.find(' '));
  const auto found = std::find_if(kKinds.begin(), kKinds.end(),
                                  [name](const Kind& kind) { return kind.name == name; });
  if (found == kKinds.end()) {
    throw RecordingFault("\"" + std::string(name.substr(0, 40)) + "\" is no kind of access");
  }
  found->check(answer);
}

}  // namespace orvan::recording

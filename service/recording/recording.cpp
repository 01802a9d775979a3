#include "service/recording/recording.h"

#include <set>
#include <utility>

#include "service/recording/answers.h"
#include "service/recording/fields.h"

namespace orvan::recording {
namespace {

constexpr std::size_t kMostModules = 64;
constexpr std::size_t kLongestModule = 128;
constexpr std::string_view kMark = " = ";
constexpr std::uint64_t kLongestTime = std::uint64_t{1} << 52;  // in microseconds; 142 years

// Takes a field off the front.
std::string_view TakeField(std::string_view& line) {
  const std::size_t end = line.find(' ');
  if (end == std::string_view::npos) throw RecordingFault("a field is missing");
  const std::string_view field = line.substr(0, end);
  line.remove_prefix(end + 1);
  return field;
}

// Takes a line off the front; false when it has no end.
bool TakeLine(std::string_view& text, std::string_view& line) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return false;
  line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return true;
}

void CheckFields(std::string_view access) {
  FieldReader fields(access);
  for (std::size_t count = 0; !fields.IsAtEnd(); ++count) {
    if (count == kMostAccessFields) throw RecordingFault("an access has too many fields");
    fields.Text();
  }
}

// Takes the time and the module off the front, and parts the rest.
Recording::Line Parted(std::string_view line, std::string& module) {
  if (line.size() > kLongestLine) throw RecordingFault("the line is too long");
  Recording::Line parted;
  parted.time = FieldReader(TakeField(line)).Number(kLongestTime);
  module = FieldReader(TakeField(line)).Text(kLongestModule);
  const std::size_t mark = line.find(kMark);
  if (mark == std::string_view::npos) throw RecordingFault("there is no answer");
  parted.access = line.substr(0, mark);
  parted.answer = line.substr(mark + kMark.size());
  return parted;
}

// Calls `take` with each line and its module.
template <typename Take>
void ForEachLine(std::string_view text, Take take) {
  if (text.size() > kMostBytes) throw RecordingFault("it is longer than 128 MiB");
  if (!text.starts_with(kFirstLine)) {
    throw RecordingFault("line 1: the first line is not \"tarvex-recording 1\"");
  }
  text.remove_prefix(kFirstLine.size());
  std::string_view line;
  std::string module;
  std::size_t count = 0;
  for (std::size_t number = 2; TakeLine(text, line); ++number) {
    try {
      if (line.empty() || line.front() == '#') continue;
      if (++count > kMostLines) throw RecordingFault("there are too many lines");
      const Recording::Line parted = Parted(line, module);
      take(parted, module);
    } catch (const RecordingFault& fault) {
      throw RecordingFault("line " + std::to_string(number) + ": " + fault.what());
    }
  }
}

}  // namespace

void Recording::Check(std::string_view text) {
  std::set<std::string> modules;
  ForEachLine(text, [&modules](const Line& line, const std::string& module) {
    CheckFields(line.access);
    CheckAnswer(line.access, line.answer);
    modules.insert(module);
    if (modules.size() > kMostModules) throw RecordingFault("there are too many modules");
  });
}

Recording Recording::Parse(std::string text) {
  const auto kept = std::make_shared<const std::string>(std::move(text));
  Check(*kept);
  Recording recording;
  recording.text_ = kept;
  ForEachLine(*kept, [&recording](const Line& line, const std::string& module) {
    recording.modules_[module].push_back(line);
  });
  return recording;
}

Recording Recording::OfModule(std::string_view text, std::shared_ptr<const void> owner,
                              const std::string& module) {
  Recording recording;
  recording.text_ = std::move(owner);
  Lines& lines = recording.modules_[module];
  // Counted first, for a table that grows takes three times its size.
  std::size_t count = 0;
  ForEachLine(text, [&](const Line&, const std::string& of) { count += of == module ? 1 : 0; });
  lines.reserve(count);
  ForEachLine(text, [&](const Line& line, const std::string& of) {
    if (of == module) lines.push_back(line);
  });
  return recording;
}

const Recording::Lines& Recording::LinesOf(const std::string& module) const {
  static const Lines none;
  const auto found = modules_.find(module);
  return found == modules_.end() ? none : found->second;
}

}  // namespace orvan::recording

#include <algorithm>

#include "service/recording/accesses.h"
#include "service/recording/recording_parts.h"

namespace orvan::recording {
namespace {

// State that is longer, or no text, may hold what lay on a medium.
constexpr std::size_t kLongestText = 64U << 10;

bool IsText(const std::string& content) {
  return content.size() <= kLongestText && std::none_of(content.begin(), content.end(), [](char c) {
           const auto byte = static_cast<unsigned char>(c);
           return (byte < ' ' && c != '\n' && c != '\t') || byte == 0x7F;
         });
}

}  // namespace

std::optional<std::string> RecordingFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                       int& error) const {
  Redactor& redactor = recorder_->redactor;
  const std::string real = redactor.RevealedPath(path);
  std::optional<std::string> content = inner_.ReadBytes(real, limit, &error);
  if (content) content = redactor.FileContent(real, std::move(*content));
  recorder_->tape.Add(FieldWriter(kind::kBytes).Text(redactor.Asked(path)).Number(limit),
                      TextAnswer{error, content});
  return content;
}

std::optional<std::string> RecordingFiles::DoReadLink(const std::string& path, int& error) const {
  Redactor& redactor = recorder_->redactor;
  std::optional<std::string> target = inner_.ReadLink(redactor.RevealedPath(path), &error);
  if (target) target = redactor.LinkTarget(*target);
  recorder_->tape.Add(FieldWriter(kind::kLink).Text(redactor.Asked(path)),
                      TextAnswer{error, target});
  return target;
}

std::vector<std::string> RecordingFiles::DoList(const std::string& path, int& error) const {
  Redactor& redactor = recorder_->redactor;
  const std::string real = redactor.RevealedPath(path);
  const std::vector<std::string> names = redactor.Names(real, inner_.List(real, &error));
  recorder_->tape.Add(FieldWriter(kind::kList).Text(redactor.Asked(path)),
                      NamesAnswer{error, names});
  return names;
}

bool RecordingFiles::DoExists(const std::string& path, int& error) const {
  Redactor& redactor = recorder_->redactor;
  const bool exists = inner_.Exists(redactor.RevealedPath(path), &error);
  recorder_->tape.Add(FieldWriter(kind::kExists).Text(redactor.Asked(path)),
                      FlagAnswer{error, exists});
  return exists;
}

FieldWriter RecordingState::Access(const char* kind, const std::string& name) const {
  return FieldWriter(kind).Text(recorder_->redactor.Asked(name));
}

std::optional<std::string> RecordingState::Read(const std::string& name, int& error) const {
  Redactor& redactor = recorder_->redactor;
  std::optional<std::string> content = inner_.Read(redactor.RevealedPath(name), error);
  StateAnswer answer{error, {}, {}};
  if (content) {
    content = redactor.Text(*content);
    if (IsText(*content)) {
      answer.text = content;
    } else {
      answer.hash = redactor.HashOf(std::as_bytes(std::span(*content)));
    }
  }
  recorder_->tape.Add(Access(kind::kStateRead, name), answer);
  return content;
}

int RecordingState::Replace(const std::string& name, const std::string& content) {
  const Redactor& redactor = recorder_->redactor;
  const int error = inner_.Replace(redactor.RevealedPath(name), redactor.Revealed(content));
  recorder_->tape.Add(Access(kind::kStateReplace, name), static_cast<std::uint64_t>(error));
  return error;
}

int RecordingState::Append(const std::string& name, const std::string& content) {
  const Redactor& redactor = recorder_->redactor;
  const int error = inner_.Append(redactor.RevealedPath(name), redactor.Revealed(content));
  recorder_->tape.Add(Access(kind::kStateAppend, name), static_cast<std::uint64_t>(error));
  return error;
}

int RecordingState::Remove(const std::string& name) {
  const int error = inner_.Remove(recorder_->redactor.RevealedPath(name));
  recorder_->tape.Add(Access(kind::kStateRemove, name), static_cast<std::uint64_t>(error));
  return error;
}

std::vector<std::string> RecordingState::List(int& error) const {
  const std::vector<std::string> names = recorder_->redactor.Names("", inner_.List(error));
  recorder_->tape.Add(FieldWriter(kind::kStateList), NamesAnswer{error, names});
  return names;
}

}  // namespace orvan::recording

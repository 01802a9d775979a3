#include <algorithm>
#include <string_view>

#include "service/recording/accesses.h"
#include "service/recording/plain_text.h"
#include "service/recording/recording_parts.h"

namespace orvan::recording {
namespace {

// State that is longer, or no text, may hold what lay on a medium.
constexpr std::size_t kLongestText = 64U << 10;

// No secret is longer, and no page of secrets, so what stands that near tells what a part is of.
constexpr std::uint64_t kAround = 4096;

}  // namespace

std::optional<std::string> RecordingFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                       int& error) const {
  Redactor& redactor = recorder_->redactor;
  const std::string real = redactor.RevealedPath(path);
  std::optional<std::string> content = inner_.ReadBytes(real, limit, &error);
  TextAnswer answer{error, {}};
  if (content) {
    answer.text = redactor.FileContent(real, *content);
    if (!answer.text) answer.hash = redactor.HashOf(std::as_bytes(std::span(*content)));
  }
  recorder_->tape.Add(FieldWriter(kind::kBytes).Text(redactor.Asked(path)).Number(limit), answer);
  return answer.hash ? content : answer.text;
}

// A part without what is of a secret, also of one that begins before it or ends behind it. None
// where nothing can be told of it, and where the file has changed since it was read.
std::optional<std::string> RecordingFiles::ToldPart(const std::string& real, std::uint64_t offset,
                                                    const std::string& part) const {
  if (part.empty()) return part;
  if (!IsPlainText(part)) return {};
  const std::uint64_t before = std::min(offset, kAround);
  const std::size_t size = static_cast<std::size_t>(before) + part.size();
  const auto around = inner_.ReadAt(real, offset - before, size + kAround);
  if (!around || around->size() < size ||
      !std::string_view(*around).substr(before).starts_with(part))
    return {};
  const auto told = recorder_->redactor.FilePart(real, offset - before, *around);
  if (!told || told->size() != around->size()) return {};
  return told->substr(before, part.size());
}

std::optional<std::string> RecordingFiles::DoReadAt(const std::string& path, std::uint64_t offset,
                                                    std::size_t size, int& error) const {
  Redactor& redactor = recorder_->redactor;
  const std::string real = redactor.RevealedPath(path);
  std::optional<std::string> part = inner_.ReadAt(real, offset, size, &error);
  TextAnswer answer{error, {}};
  if (part) {
    answer.text = ToldPart(real, offset, *part);
    if (!answer.text) answer.hash = redactor.HashOf(std::as_bytes(std::span(*part)));
  }
  recorder_->tape.Add(
      FieldWriter(kind::kPart).Text(redactor.Asked(path)).Number(offset).Number(size), answer);
  return answer.hash ? part : answer.text;
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
  if (names.size() > kMostNames) return names;  // not recorded, for no replay would read it
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
  const std::optional<std::string> content = inner_.Read(redactor.RevealedPath(name), error);
  StateAnswer answer{error, {}, {}};
  if (content) {
    // The module gets back what it stored, byte for byte, so only what shows nothing can be told.
    const bool isTold = content->size() <= kLongestText && IsPlainText(*content) &&
                        redactor.Text(*content) == *content;
    if (isTold) {
      answer.text = content;
    } else {
      answer.hash = redactor.HashOf(std::as_bytes(std::span(*content)));
    }
  }
  recorder_->tape.Add(Access(kind::kStateRead, name), answer);
  return content;
}

int RecordingState::Replace(const std::string& name, const std::string& content) {
  const int error = inner_.Replace(recorder_->redactor.RevealedPath(name), content);
  recorder_->tape.Add(Access(kind::kStateReplace, name), static_cast<std::uint64_t>(error));
  return error;
}

int RecordingState::Append(const std::string& name, const std::string& content) {
  const int error = inner_.Append(recorder_->redactor.RevealedPath(name), content);
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

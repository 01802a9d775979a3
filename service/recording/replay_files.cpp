#include <algorithm>

#include "service/recording/accesses.h"
#include "service/recording/replay_parts.h"
#include "service/sdk/read_errors.h"

namespace orvan::recording {

std::optional<std::string> ReplayFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                    int& error) const {
  return Content(FieldWriter(kind::kBytes).Text(path).Number(limit), limit, error);
}

std::optional<std::string> ReplayFiles::Content(const FieldWriter& access, std::size_t limit,
                                                int& error) const {
  auto answer = source_->Next<TextAnswer>(access);
  if (!answer) {
    error = sdk::kNotRecorded;
    return {};
  }
  error = answer->hash ? sdk::kNotRecorded : answer->error;
  if (answer->text && answer->text->size() > limit) answer->text->resize(limit);
  return std::move(answer->text);
}

std::optional<std::string> ReplayFiles::DoReadAt(const std::string& path, std::uint64_t offset,
                                                 std::size_t size, int& error) const {
  return Content(FieldWriter(kind::kPart).Text(path).Number(offset).Number(size), size, error);
}

std::optional<std::string> ReplayFiles::DoReadLink(const std::string& path, int& error) const {
  auto answer = source_->Next<TextAnswer>(FieldWriter(kind::kLink).Text(path));
  if (!answer) {
    error = sdk::kNotRecorded;
    return {};
  }
  error = answer->error;
  return std::move(answer->text);
}

std::vector<std::string> ReplayFiles::DoList(const std::string& path, int& error) const {
  auto answer = source_->Next<NamesAnswer>(FieldWriter(kind::kList).Text(path));
  if (!answer) {
    error = sdk::kNotRecorded;
    return {};
  }
  error = answer->error;
  return std::move(answer->names);
}

bool ReplayFiles::DoExists(const std::string& path, int& error) const {
  const auto answer = source_->Next<FlagAnswer>(FieldWriter(kind::kExists).Text(path));
  if (!answer) {
    error = sdk::kNotRecorded;
    return false;
  }
  error = answer->error;
  return answer->isSet;
}

std::optional<std::string> ReplayState::Read(const std::string& name, int& error) const {
  auto answer = source_->Next<StateAnswer>(FieldWriter(kind::kStateRead).Text(name));
  error = answer ? answer->error : 0;
  if (answer && !answer->hash) return std::move(answer->text);
  const std::lock_guard lock(mutex_);
  const auto own = written_.find(name);
  if (own != written_.end()) return own->second;
  // What it held is not known, so nothing may be made of it.
  if (answer) error = sdk::kNotRecorded;
  return {};
}

int ReplayState::Do(const char* kind, const std::string& name) const {
  const auto error = source_->Next<std::uint64_t>(FieldWriter(kind).Text(name));
  // Errors of files are small numbers; what is none is a stranger's.
  return error ? static_cast<int>(std::min<std::uint64_t>(*error, 4095)) : 0;
}

int ReplayState::Replace(const std::string& name, const std::string& content) {
  const int error = Do(kind::kStateReplace, name);
  const std::lock_guard lock(mutex_);
  if (error == 0) written_[name] = content;
  return error;
}

int ReplayState::Append(const std::string& name, const std::string& content) {
  const int error = Do(kind::kStateAppend, name);
  const std::lock_guard lock(mutex_);
  if (error == 0 && written_.contains(name)) written_[name] += content;
  return error;
}

int ReplayState::Remove(const std::string& name) {
  const int error = Do(kind::kStateRemove, name);
  const std::lock_guard lock(mutex_);
  if (error == 0) written_.erase(name);
  return error;
}

std::vector<std::string> ReplayState::List(int& error) const {
  auto answer = source_->Next<NamesAnswer>(FieldWriter(kind::kStateList));
  error = answer ? answer->error : 0;
  return answer ? std::move(answer->names) : std::vector<std::string>();
}

}  // namespace orvan::recording

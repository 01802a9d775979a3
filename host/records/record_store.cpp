#include "host/records/record_store.h"

#include <chrono>
#include <utility>

#include "system/standard_error.h"
#include "system/text_conversion.h"

namespace tarvex {
namespace {

std::string Utf8(const std::wstring& text) {
  std::string utf8;
  for (const wchar_t character : text) AppendUtf8(utf8, character);
  return utf8;
}

bool IsWithin(const std::string& nameSpace, const std::string& outer) {
  return nameSpace == outer || nameSpace.starts_with(outer + '\\');
}

bool IsOfThisConnection(const StoreError& error) {
  return error.GetKind() == StoreError::Kind::kDamaged ||
         error.GetKind() == StoreError::Kind::kStuck;
}

}  // namespace

RecordStore::~RecordStore() {
  Finish();
}

int RecordStore::WriteRecord(const std::vector<std::string>& keys,
                             const std::vector<std::string>& values, const std::string& className,
                             const std::wstring& nameSpace) {
  const std::lock_guard lock(mutex_);
  if (keys.size() != values.size()) {
    Note("a record without a value for each key was refused");
    return kNotDone;
  }
  if (kept_.size() == kMostKept) {
    kept_.pop_front();
    ++lost_;
  }
  kept_.push_back({Utf8(nameSpace), className, keys, values});
  return WriteKept() ? 0 : kNotDone;
}

template <typename Call>
auto RecordStore::WithFreshStore(Call call) {
  SqliteDatabase::LimitWaits(std::chrono::milliseconds(Patience()));
  try {
    return call();
  } catch (const StoreError& error) {
    // Opened anew, a damaged one is set aside, and the locks of a stuck connection are gone.
    if (!IsOfThisConnection(error)) throw;
  }
  database_.reset();
  return call();
}

bool RecordStore::WriteKept() {
  try {
    WithFreshStore([this] { TryToWriteKept(); });
    return true;
  } catch (const StoreError& error) {
    impatient_ =
        error.GetKind() == StoreError::Kind::kBusy || error.GetKind() == StoreError::Kind::kStuck;
    // A fault that lasts is told once, not with each record.
    if (fault_ != error.what()) Note(error.what());
    fault_ = error.what();
    lossReason_ = fault_;
    return false;
  }
}

void RecordStore::TryToWriteKept() {
  Open(true);
  database_->SetPatience(Patience());
  database_->Add(kept_);
  if (!fault_.empty()) {
    Note(std::to_string(kept_.size()) + " records were written in the end, " +
         std::to_string(lost_) + " are lost");
  }
  fault_.clear();
  lostInAll_ += lost_;
  lost_ = 0;
  impatient_ = false;
  kept_.clear();
}

bool RecordStore::Open(bool create) {
  if (database_ != nullptr && database_->HasMoved()) {
    Note("the store was removed or replaced; what is in its place now is used");
    database_.reset();
  }
  if (database_ != nullptr) return true;
  std::string note;
  database_ = RecordDatabase::Open(folder_, create, Patience(), note);
  if (!note.empty()) Note(note);
  return database_ != nullptr;
}

int RecordStore::RemoveNamespace(const std::string& root, const std::string& parent,
                                 const std::string& name) {
  const std::lock_guard lock(mutex_);
  try {
    const std::string removed = root + '\\' + parent + '\\' + name;
    return WithFreshStore([&] { return RemoveNamed(removed); }) ? 0 : kNotDone;
  } catch (const StoreError& error) {
    if (IsOfThisConnection(error)) database_.reset();
    Note(error.what());
    return kNotDone;
  }
}

bool RecordStore::RemoveNamed(const std::string& nameSpace) {
  const bool removed = Open(false) && database_->Remove(nameSpace);
  const std::size_t dropped = std::erase_if(
      kept_, [&](const StoredRecord& record) { return IsWithin(record.nameSpace, nameSpace); });
  return removed || dropped > 0;
}

void RecordStore::Finish() {
  const std::lock_guard lock(mutex_);
  impatient_ = false;
  if (!kept_.empty() && !WriteKept()) {
    lost_ += kept_.size();
    lostInAll_ += lost_;
    Note(std::to_string(lost_) + " records could not be written and are lost");
    kept_.clear();
    lost_ = 0;
  }
  if (lostInAll_ > 0) {
    TellOnStandardError("execution records in " + folder_ + ": " + std::to_string(lostInAll_) +
                        " are lost: " + lossReason_);
    lostInAll_ = 0;
  }
  fault_.clear();
  database_.reset();
}

std::vector<std::string> RecordStore::TakeNotes() {
  const std::lock_guard lock(mutex_);
  return std::exchange(notes_, {});
}

void RecordStore::Note(const std::string& text) {
  notes_.push_back("execution records in " + folder_ + ": " + text);
}

}  // namespace tarvex

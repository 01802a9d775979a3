#include "companions/history/archive.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "companions/history/index_file.h"
#include "companions/history/options.h"

namespace tarvex::history {
namespace {

ReadLog None(std::string why) {
  ReadLog read;
  read.why = std::move(why);
  return read;
}

// Logs are named by the time of their start.
bool IsNewer(const LogPlace& one, const LogPlace& other) {
  const std::string first = RunIdOf(one.path);
  const std::string second = RunIdOf(other.path);
  return first != second ? first > second : one.path < other.path;
}

}  // namespace

Archive::Archive(const std::string& state, std::vector<std::string> folders)
    : state_(state), folders_(std::move(folders)) {
  for (std::string& folder : folders_) {
    folder = std::filesystem::absolute(folder).lexically_normal().string();
    if (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  }
}

std::unique_ptr<SqliteDatabase> Archive::OpenIndex() const {
  auto database = kept_ == Kept::kInFolder ? OpenIndexFile(state_) : nullptr;
  if (database != nullptr) return database;
  using Alone = SqliteDatabase::Alone;
  return TemporaryIndex(kept_ == Kept::kInMemory ? Alone::kInMemory : Alone::kOnDisk);
}

RunIndex& Archive::Index() {
  if (index_ != nullptr) return *index_;
  passedOver_.clear();
  auto index = std::make_unique<RunIndex>(OpenIndex());
  index->Refresh(folders_, passedOver_);
  index_ = std::move(index);
  return *index_;
}

bool Archive::DistrustIndex(bool isDamaged) {
  index_.reset();
  if (kept_ == Kept::kInMemory) return false;
  if (isDamaged && kept_ == Kept::kInFolder) RemoveIndexFile(state_);
  kept_ = kept_ == Kept::kInFolder ? Kept::kOnDisk : Kept::kInMemory;
  return true;
}

std::vector<LogPlace> Archive::Logs() {
  passedOver_.clear();
  return LogsIn(folders_, passedOver_);
}

ReadLog Archive::FindLast() {
  std::vector<LogPlace> logs = Logs();
  std::sort(logs.begin(), logs.end(), IsNewer);
  ReadLog newest = None("there is no run");
  for (const LogPlace& log : logs) {
    ReadLog read = ReadLogFile(log.path);
    if (read.run && !read.run->tests.empty()) return read;
    if (!read.run) {
      passedOver_.push_back({log.path, read.why});
    } else if (!newest.run) {
      newest = std::move(read);
    }
  }
  return newest;
}

ReadLog Archive::Find(const std::string& wanted) {
  if (wanted == kLastRun) return FindLast();
  if (wanted.find('/') != std::string::npos) {
    return ReadLogFile(std::filesystem::absolute(wanted).lexically_normal().string());
  }
  std::vector<LogPlace> logs = Logs();
  passedOver_.clear();  // what is wrong with others is not asked for
  const auto begins = [&wanted](const LogPlace& log) {
    return RunIdOf(log.path).substr(0, wanted.size()) == wanted;
  };
  const auto isNamed = [&wanted](const LogPlace& log) {
    return RunIdOf(log.path) == RunIdOf(wanted);
  };
  std::vector<LogPlace> found;
  std::copy_if(logs.begin(), logs.end(), std::back_inserter(found), isNamed);
  if (found.empty()) std::copy_if(logs.begin(), logs.end(), std::back_inserter(found), begins);
  if (found.empty()) return None("there is no such run");
  if (found.size() > 1) {
    return None("this is the beginning of " + std::to_string(found.size()) + " runs, " +
                found.front().path + " among them");
  }
  return ReadLogFile(found.front().path);
}

}  // namespace tarvex::history

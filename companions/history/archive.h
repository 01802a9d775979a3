#pragma once

#include <memory>
#include <string>
#include <vector>

#include "companions/history/log_source.h"
#include "companions/history/run.h"
#include "companions/history/run_index.h"

namespace tarvex::history {

// The logs of some folders. One thread at a time.
class Archive {
 public:
  // The index is that of the state folder, where there can be one.
  Archive(const std::string& state, std::vector<std::string> folders);

  // What all logs tell, brought up to date once. Throws a StoreError where the index fails.
  RunIndex& Index();
  // From now on the index is another one: first that of this process alone, and then one in memory.
  // False when there is none left.
  bool DistrustIndex(bool isDamaged);
  // The run of that path, that name or a beginning of it, or the "last" one, which is the newest
  // that tested something, and else the newest; none, with a reason.
  ReadLog Find(const std::string& wanted);
  // What could not be read so far, each once.
  const std::vector<PassedOver>& PassedOverFiles() const { return passedOver_; }

 private:
  std::unique_ptr<SqliteDatabase> OpenIndex() const;
  std::vector<LogPlace> Logs();
  ReadLog FindLast();

  std::string state_;
  std::vector<std::string> folders_;
  std::unique_ptr<RunIndex> index_;
  enum class Kept { kInFolder, kOnDisk, kInMemory };
  Kept kept_ = Kept::kInFolder;
  std::vector<PassedOver> passedOver_;
};

}  // namespace tarvex::history

#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "boundary/hostlayer_cim.h"
#include "host/records/record_database.h"
#include "system/record_store_report.h"

namespace tarvex {

// The record store: "records.db" in one folder, an SQLite file (docs/records.md). It is opened,
// and made when it is missing, on first use. A file that was removed or replaced is noticed before
// the next record.
//
// A record that cannot be written is kept, up to kMostKept of them, then the oldest is lost. All
// that are kept are written, in their order, before the next record, and at the latest by Finish.
// Names compare exactly. Any thread.
class RecordStore final : public HostCim, public RecordStoreReport {
 public:
  static constexpr std::size_t kMostKept = 1000;
  static constexpr int kNotDone = 1;

  explicit RecordStore(std::string folder) : folder_(std::move(folder)) {}
  ~RecordStore() override;

  // 0 once the record is on the disk; kNotDone when it is kept, or is refused because there is not
  // one value for each key.
  int WriteRecord(const std::vector<std::string>& keys, const std::vector<std::string>& values,
                  const std::string& className, const std::wstring& nameSpace) override;
  // kNotDone when there is no such namespace or it cannot be removed. Namespaces below it go, too.
  int RemoveNamespace(const std::string& root, const std::string& parent,
                      const std::string& name) override;
  // Tells the operator on standard error, too, what is lost.
  void Finish() override;
  std::vector<std::string> TakeNotes() override;

 private:
  // All of these under mutex_.
  bool WriteKept();
  void TryToWriteKept();
  // Calls it once more, with the store opened anew, when that may help.
  template <typename Call>
  auto WithFreshStore(Call call);
  bool RemoveNamed(const std::string& nameSpace);
  int Patience() const { return impatient_ ? 0 : RecordDatabase::kPatienceMs; }
  bool Open(bool create);  // false: there is no store, and it was not to be made
  void Note(const std::string& text);

  std::mutex mutex_;  // guards all below
  std::string folder_;
  std::unique_ptr<RecordDatabase> database_;
  std::deque<StoredRecord> kept_;
  std::size_t lost_ = 0;       // since the store took records last
  std::size_t lostInAll_ = 0;  // of those that are settled, and not told the operator yet
  std::string lossReason_;     // the last fault of all
  // Others held the store for longer than we wait: until they let go, a record costs no more time.
  bool impatient_ = false;
  std::string fault_;  // why the kept ones are not written; empty while all goes well
  std::vector<std::string> notes_;
};

}  // namespace tarvex

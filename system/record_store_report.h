#pragma once

#include <string>
#include <vector>

namespace tarvex {

// What the record store, which may fall behind, tells whoever keeps records in it. A HostCim may
// offer this, too (dynamic_cast). Any thread.
class RecordStoreReport {
 public:
  virtual ~RecordStoreReport() = default;
  // Writes what the store had to keep back so far. What cannot be written now is lost.
  virtual void Finish() = 0;
  // What went wrong, or well again, since the last call: texts of one line, oldest first.
  virtual std::vector<std::string> TakeNotes() = 0;
};

}  // namespace tarvex

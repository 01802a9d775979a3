#pragma once

#include <memory>
#include <string>

#include "boundary/hostlayer_app_mutex.h"
#include "os/descriptor.h"

namespace tarvex {

// The lock on a file of the run folder. The open descriptor holds it, so it ends with the process
// however that ends, and no program that is started from here inherits it.
class AppMutex final : public HostAppMutex {
 public:
  // Opens the lock file below `folder`, making both when they are missing (0755, 0600; the
  // folder's parent must exist). Null when that can't be done, when the file is no ordinary one,
  // and when a stranger could have written file or folder or put them there: his lock is none.
  // The reason goes to `fault`.
  static std::unique_ptr<AppMutex> Open(const std::string& folder, std::string* fault = nullptr);

  // Asking again while this instance holds the lock gives false again.
  bool IsAlreadyRunning() override;

 private:
  explicit AppMutex(Descriptor file) : file_(std::move(file)) {}

  Descriptor file_;
};

}  // namespace tarvex

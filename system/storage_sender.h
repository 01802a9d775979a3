#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The command block of the storage controller vendor's library.
struct StorageCommand {
  std::array<std::uint32_t, 7> fields{};  // the first is the command code
  std::uint32_t dataSize = 0;             // of the buffer, in bytes
  void* data = nullptr;                   // not owned
};
static_assert(sizeof(StorageCommand) == 40);
static_assert(offsetof(StorageCommand, dataSize) == 28);
static_assert(offsetof(StorageCommand, data) == 32);

// Sends one command to the storage controller library.
class LsiSender {
 public:
  virtual ~LsiSender() = default;
  // 0 on success, else what the library answered.
  virtual std::uint32_t execute(StorageCommand* command) = 0;
};

class LsiStdSenderWin : public LsiSender {
 public:
  std::uint32_t execute(StorageCommand* command) override;
};

// Brings up the vendor's library "storelib.dll" when it lies beside the program, for the life of
// the process. Says nothing, whatever happens. Main thread.
void LoadStorageSender();

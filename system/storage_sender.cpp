#include "system/storage_sender.h"

#include <memory>
#include <string>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_module.h"
#include "system/filesystem/filesystem.h"

namespace {

constexpr char kLibraryName[] = "storelib.dll";
constexpr char kEntryName[] = "ProcessLibCommand";
constexpr std::size_t kStartUpDataSize = 260;

using ProcessLibCommand = std::uint32_t (*)(StorageCommand*);

// Process-wide, because the library is. Main thread.
struct SenderState {
  std::unique_ptr<LsiSender> sender;  // null until the library has come up
  HostModuleHandle library = nullptr;
  ProcessLibCommand entry = nullptr;
};

SenderState& TheSender() {
  static SenderState state;
  return state;
}

std::uint32_t SendStartUp(LsiSender& sender) {
  std::array<std::byte, kStartUpDataSize> data{};
  StorageCommand command;
  command.dataSize = kStartUpDataSize;
  command.data = data.data();
  return sender.execute(&command);
}

}  // namespace

std::uint32_t LsiStdSenderWin::execute(StorageCommand* command) {
  return TheSender().entry(command);
}

void LoadStorageSender() {
  SenderState& state = TheSender();
  if (state.sender != nullptr) return;
  const char* directory = get_filesystem()->GetExecutableDirectory();
  if (directory == nullptr) return;
  HostModule* loader = get_module();
  state.library = loader->Load(std::string(directory) + "\\" + kLibraryName, 1);
  if (state.library == nullptr) return;
  state.entry = reinterpret_cast<ProcessLibCommand>(loader->GetSymbol(state.library, kEntryName));
  if (state.entry != nullptr) {
    state.sender = std::make_unique<LsiStdSenderWin>();
    if (SendStartUp(*state.sender) == 0) return;
    state.sender.reset();
  }
  state.entry = nullptr;
  loader->Unload(state.library);
  state.library = nullptr;
}

#include "views/supervisor_input.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "boundary/hostlayer.h"

namespace {

constexpr int kStandardInput = 0;
// The longest the reader goes without looking whether it is to end, and the shortest between two
// looks at an input that says other things: one that never ends must not keep a processor busy.
constexpr int kReaderCadenceMs = 100;
constexpr int kAtOnce = 0;

bool IsAbortCommand(int byte) {
  return byte == 'a' || byte == 'A';
}

}  // namespace

SupervisorInput& SupervisorInput::Get() {
  // Never destroyed: the reader may outlive the static objects when the process ends early.
  static SupervisorInput& input = *new SupervisorInput;
  if (input.reader_ == nullptr) input.Start();
  return input;
}

void SupervisorInput::Start() {
  peek_ = std::make_unique<tarvex::InputPeek>(kStandardInput);
  lastByte_ = kNoByte;
  running = true;
  hasLooked_ = false;
  const HostThreadFunction read = [](void* self) -> std::uintptr_t {
    static_cast<SupervisorInput*>(self)->Read();
    return 0;
  };
  if (get_thread()->Start(&reader_, 0, read, this, "HDKio") == 0) {
    get_thread()->AfterStart(reader_, 0);
    hasLooked_.wait(false);
  }
}

void SupervisorInput::Read() {
  std::array<unsigned char, 65536> bytes;
  int count = peek_->Take(bytes.data(), bytes.size(), kAtOnce);
  bool goOn = Keep(bytes.data(), count);
  hasLooked_ = true;
  hasLooked_.notify_all();
  while (goOn && running) {
    if (count > 0) peek_->Rest(kReaderCadenceMs);
    count = peek_->Take(bytes.data(), bytes.size(), kReaderCadenceMs);
    goOn = Keep(bytes.data(), count);
  }
}

// Keeps the last byte, or the abort command; false when no more is wanted or no more can come.
bool SupervisorInput::Keep(const unsigned char* bytes, int count) {
  if (count <= 0) return count != tarvex::kInputClosed;
  const unsigned char* const command = std::find_if(bytes, bytes + count, IsAbortCommand);
  const bool isAbort = command != bytes + count;
  lastByte_ = isAbort ? *command : bytes[count - 1];
  return !isAbort;
}

void SupervisorInput::Stop() {
  running = false;
  if (reader_ != nullptr) {
    peek_->Wake();
    get_thread()->Join(reader_);
    reader_ = nullptr;
  }
}

void SupervisorInput::Look() {
  std::array<unsigned char, 65536> bytes;
  const int count = peek_->Take(bytes.data(), bytes.size(), kAtOnce);
  running = Keep(bytes.data(), count);
}

bool SupervisorInput::IsAbort() {
  if (reader_ == nullptr && running) Look();
  return IsAbortCommand(lastByte_);
}

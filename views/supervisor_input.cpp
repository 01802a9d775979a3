#include "views/supervisor_input.h"

#include <cstdint>

#include "boundary/hostlayer.h"

namespace {

constexpr int kStandardInput = 0;
// The longest the reader goes without looking whether it is to end.
constexpr int kReaderCadenceMs = 100;

bool IsAbortCommand(int byte) {
  return byte == 'a' || byte == 'A';
}

}  // namespace

SupervisorInput& SupervisorInput::Get() {
  // Never destroyed: the reader may outlive the static objects when the process ends early.
  static SupervisorInput& input = *new SupervisorInput;
  if (input.reader_ == nullptr) {
    input.Start();
  }
  return input;
}

void SupervisorInput::Start() {
  peek_ = std::make_unique<tarvex::InputPeek>(kStandardInput);
  lastByte_ = kNoByte;
  running_ = true;
  const HostThreadFunction read = [](void* self) -> std::uintptr_t {
    static_cast<SupervisorInput*>(self)->Read();
    return 0;
  };
  if (get_thread()->Start(&reader_, 0, read, this, "HDKio") == 0) {
    get_thread()->AfterStart(reader_, 0);
  }
}

void SupervisorInput::Read() {
  while (running_) {
    const int byte = peek_->PeekByte(kReaderCadenceMs);
    if (byte == tarvex::kInputClosed) {
      return;
    }
    if (byte != tarvex::kNoByteWaiting) {
      lastByte_ = static_cast<unsigned char>(byte);
      if (IsAbortCommand(byte)) {
        return;
      }
    }
  }
}

void SupervisorInput::Stop() {
  running_ = false;
  if (reader_ != nullptr) {
    peek_->Wake();
    get_thread()->Join(reader_);
    reader_ = nullptr;
  }
}

bool SupervisorInput::IsAbort() const {
  return IsAbortCommand(lastByte_);
}

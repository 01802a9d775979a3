#pragma once

#include <stdexcept>

#include "service/sdk/machine.h"

namespace orvan::sdk {

// A machine that nobody may touch: each operation throws std::logic_error. For a module that is
// made for its tables alone, and for doubles of a machine that offer a part of it.
class ClosedMachine : public Machine {
 public:
  const MachineFiles& Files() const override { throw Refusal(); }
  OpenedReader OpenReader(const BlockReaderOptions&, std::stop_token) override { throw Refusal(); }
  OpenedWriter OpenWriter(const BlockWriterOptions&, std::stop_token) override { throw Refusal(); }
  std::unique_ptr<FilesystemProbe> MakeProbe(std::chrono::milliseconds) override {
    throw Refusal();
  }
  CommandAnswer Send(const DriveCommand&, std::stop_token) override { throw Refusal(); }
  std::chrono::steady_clock::time_point Now() const override { throw Refusal(); }
  void Pause(std::chrono::milliseconds, std::stop_token) override { throw Refusal(); }
  std::uint64_t Chance() override { throw Refusal(); }
  int PinThisThread(std::uint32_t) override { throw Refusal(); }
  LockedMemoryResult LockMemory(std::size_t) override { throw Refusal(); }
  ModuleState& State() override { throw Refusal(); }

 private:
  static std::logic_error Refusal() {
    return std::logic_error("the machine is out of reach of a module that is made for its tables");
  }
};

}  // namespace orvan::sdk

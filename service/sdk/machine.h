#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stop_token>

#include "service/sdk/block_reader.h"
#include "service/sdk/block_writer.h"
#include "service/sdk/drive_command.h"
#include "service/sdk/filesystem_probe.h"
#include "service/sdk/machine_files.h"
#include "service/sdk/machine_memory.h"
#include "service/sdk/module_state.h"

namespace orvan::sdk {

// The machine under test, and a module's one way to it. Which machine it is, this one, one that is
// recorded, or a recording, is for the service to choose; a module cannot tell. All that a module's
// result hangs on comes through here, time and chance too, so that a recording gives it again.
//
// What has a time limit or a stop token hangs no longer than that and a little: what does not come
// back from the kernel is left behind. Files, State and LockMemory have none and run in the
// caller's thread: one that hangs there costs the module its process, which whoever runs it ends.
// Any thread; each object that is handed out, one thread at a time.
class Machine {
 public:
  virtual ~Machine() = default;

  // The files of the machine, "/sys/block" and the like, read only.
  virtual const MachineFiles& Files() const = 0;
  virtual OpenedReader OpenReader(const BlockReaderOptions& options, std::stop_token stop) = 0;
  // Only while a test or a tool runs whose row says that it writes (mayWrite).
  virtual OpenedWriter OpenWriter(const BlockWriterOptions& options, std::stop_token stop) = 0;
  // Looks at what block devices hold. After one look ran into its limit the next ones go on; once
  // all together took `budget`, the rest is answered with none and touches no device. So is every
  // look of a search that only finds devices again.
  virtual std::unique_ptr<FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) = 0;
  virtual CommandAnswer Send(const DriveCommand& command, std::stop_token stop) = 0;

  // Never goes back. It goes on while the machine sleeps no more than steady_clock does.
  virtual std::chrono::steady_clock::time_point Now() const = 0;
  // Waits so long, or until the stop token is set. May come back at any time, so the clock tells
  // how long it was.
  virtual void Pause(std::chrono::milliseconds time, std::stop_token stop) = 0;
  // Another number each time, which nobody can foresee.
  virtual std::uint64_t Chance() = 0;

  // Keeps the calling thread on one logical processor from now on. 0, or the errno: EINVAL when it
  // is not there or not on line.
  virtual int PinThisThread(std::uint32_t processor) = 0;
  virtual LockedMemoryResult LockMemory(std::size_t bytes) = 0;

  virtual ModuleState& State() = 0;
};

}  // namespace orvan::sdk

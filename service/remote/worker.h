#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "os/child_process.h"
#include "os/descriptor.h"
#include "service/protocol/channel.h"
#include "service/protocol/from_worker.h"
#include "service/protocol/to_worker.h"
#include "service/remote/worker_keeper.h"

namespace orvan::remote {

using WorkerChannel = protocol::Channel<protocol::ToWorker, protocol::FromWorker>;

// The machine that the workers of all modules get.
struct MachinePlan {
  protocol::MachineKind kind = protocol::MachineKind::kLive;
  // This and what follows: of a machine that is recorded or is a recording.
  std::shared_ptr<const tarvex::Descriptor> recording;
  std::string key;         // of the stand-ins
  std::int64_t begin = 0;  // of the recording, in microseconds of the steady clock
  std::string note;        // for the log: which machine it is
};

// What a module's workers are started with.
struct WorkerPlan {
  protocol::Hello hello;
  int folder = -1;          // of the module; open for as long as the process lives
  tarvex::Descriptor file;  // of the module
  // Opens the module's state folder for each worker; empty, or gives none: the module has no state.
  std::function<tarvex::Descriptor()> openState;
  // Set when the hello names a machine that has one; all modules share it.
  std::shared_ptr<const tarvex::Descriptor> recording;
};

// One worker process. One thread.
class Worker {
 public:
  // Starts one and hands it the plan; it is not ready yet. `number` counts the module's workers,
  // from 0. Null with an errno in `error`.
  static std::unique_ptr<Worker> Start(WorkerKeeper& keeper, const WorkerPlan& plan,
                                       std::uint64_t number, int& error);
  // Kills it; never waits.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  WorkerChannel& Channel() { return channel_; }
  tarvex::ChildProcess& Process() { return process_; }
  // Asks for a sign of life.
  void Ping();
  // There was one that is not answered yet; now it is.
  bool TakeAnsweredPing();

  bool hasScanned = false;  // it knows the module's devices

 private:
  Worker(WorkerKeeper& keeper, tarvex::PacketSocket socket)
      : keeper_(keeper), channel_(std::move(socket)) {}

  WorkerKeeper& keeper_;
  WorkerChannel channel_;
  tarvex::ChildProcess process_;
  std::uint64_t pings_ = 0;  // without an answer so far
};

}  // namespace orvan::remote

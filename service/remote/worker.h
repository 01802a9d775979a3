#pragma once

#include <cstdint>
#include <map>
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

// What a module's workers are started with.
struct WorkerPlan {
  protocol::Hello hello;
  int folder = -1;                 // of the module; open for as long as the process lives
  tarvex::Descriptor file;         // of the module
  tarvex::Descriptor stateFolder;  // of the module; open when the hello says so
  tarvex::Descriptor recording;    // open when the hello names a machine that has one
};

// One worker process. One thread.
class Worker {
 public:
  // Starts one and hands it the plan; it is not ready yet. Null with an errno in `error`.
  static std::unique_ptr<Worker> Start(WorkerKeeper& keeper, const WorkerPlan& plan, int& error);
  // Kills it; never waits.
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  WorkerChannel& Channel() { return channel_; }
  tarvex::ChildProcess& Process() { return process_; }

  bool isReady = false;
  bool hasScanned = false;  // it knows the module's devices

 private:
  Worker(WorkerKeeper& keeper, tarvex::PacketSocket socket)
      : keeper_(keeper), channel_(std::move(socket)) {}

  WorkerKeeper& keeper_;
  WorkerChannel channel_;
  tarvex::ChildProcess process_;
};

}  // namespace orvan::remote

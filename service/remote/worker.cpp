#include "service/remote/worker.h"

#include <utility>
#include <vector>

namespace orvan::remote {

std::unique_ptr<Worker> Worker::Start(WorkerKeeper& keeper, const WorkerPlan& plan,
                                      std::uint64_t number, int& error) {
  tarvex::PacketSocket ours;
  tarvex::PacketSocket theirs;
  error = tarvex::PacketSocket::MakePair(ours, theirs);
  if (error != 0) return nullptr;
  std::unique_ptr<Worker> worker(new Worker(keeper, std::move(ours)));
  error = keeper.Start(theirs.Owned(), worker->process_);
  if (error != 0) return nullptr;
  std::vector<int> descriptors{plan.folder, plan.file.Get()};
  const tarvex::Descriptor state = plan.openState ? plan.openState() : tarvex::Descriptor();
  if (state.IsOpen()) descriptors.push_back(state.Get());
  if (plan.recording) descriptors.push_back(plan.recording->Get());
  protocol::Hello hello = plan.hello;
  hello.worker = number;
  hello.hasState = state.IsOpen();
  error = worker->channel_.Send(hello, false, descriptors);
  return error == 0 ? std::move(worker) : nullptr;
}

void Worker::Ping() {
  if (channel_.Send(protocol::Ping{}, false) == 0) ++pings_;
}

bool Worker::TakeAnsweredPing() {
  if (pings_ == 0) return false;
  --pings_;
  return true;
}

Worker::~Worker() {
  keeper_.Bury(std::move(process_));
}

}  // namespace orvan::remote

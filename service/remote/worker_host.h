#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "service/remote/conversation.h"
#include "service/remote/journal.h"
#include "service/remote/worker.h"
#include "service/remote/worker_keeper.h"
#include "service/sdk/scan.h"

namespace orvan::remote {

// The size of a module's tables, which a worker's answers must fit.
struct TableSizes {
  std::size_t tests = 0;  // of all diagnostics
  std::size_t tools = 0;
};

// What one request is about.
struct Errand {
  std::string subject;  // for people, e.g. "test READ_TEST on device 0"
  bool needsDevices = false;
  bool beginsStopped = false;  // it is begun though its stop is set
  bool isSearch = false;       // it has the time of a search when it is to stop
  std::stop_token stop = {};
  std::function<sdk::StopReason()> whyStop = {};
  std::function<std::uint32_t()> systemEvents = {};
};

// What became of an errand.
struct Finding {
  Outcome outcome;
  // Not empty: the errand was not begun, and why, for people.
  std::string notBegun = {};
};

// The worker of one module, started when it is first needed and replaced when it had to be given
// up. One thread at a time.
class WorkerHost {
 public:
  // The keeper and the journal outlive it.
  WorkerHost(std::string module, WorkerPlan plan, TableSizes sizes, WorkerKeeper& keeper,
             Journal& journal, WorkerLimits limits = {})
      : module_(std::move(module)),
        plan_(std::move(plan)),
        sizes_(sizes),
        keeper_(keeper),
        journal_(journal),
        limits_(limits) {}

  // Searches the module's devices, which it outlives. Throws std::runtime_error with the reason
  // when the search did not come to its end, and with the module's own words when it threw; what it
  // had found until then is handed on before.
  void Scan(sdk::ScanContext& scan);

  // Hands the worker an order, whose number is set here, and lets `take` have what it says, until
  // the end. A worker that had to be given up is gone when this returns, and the journal says why.
  template <typename Order>
  Finding Run(const Errand& errand, Order& order,
              std::function<Talk::Reply(protocol::FromWorker&)> take) {
    Finding finding;
    finding.notBegun = Prepare(errand);
    if (!finding.notBegun.empty()) return finding;
    order.request = ++lastRequest_;
    std::uint32_t toldEvents = 0;
    if constexpr (requires { order.systemEvents; }) {
      if (errand.systemEvents) order.systemEvents = errand.systemEvents();
      toldEvents = order.systemEvents;
    }
    const int error = worker_->Channel().Send(order, false);
    if (error == EMSGSIZE) {
      finding.notBegun = "it was given more than a message may hold";
      return finding;
    }
    if (auto untold = Untold(error)) {
      finding.outcome = *std::move(untold);
    } else {
      const auto grace = errand.isSearch ? limits_.scanGrace : limits_.testGrace;
      finding.outcome = Converse(errand, grace, std::move(take), toldEvents);
    }
    Judge(errand.subject, finding.outcome);
    return finding;
  }

  // Of the end of a request: calls of the worker hang in the kernel, so it is not used any more.
  void NoteLeftBehind(const std::string& subject, std::uint64_t calls);
  // The same of a search, whose worker goes on.
  void NoteHungSearch(const std::string& subject, std::uint64_t calls);
  // Whether there is a worker that knows the devices of the last scan.
  bool KnowsDevices();
  // Answers what the worker asked, from within `take`.
  void Answer(const protocol::ToolAnswer& answer);
  // Tells who sits before the program.
  void Tell(const std::string& text) { journal_.Tell(text); }
  const std::string& Module() const { return module_; }
  // Ends the worker; never waits.
  void Close() { worker_.reset(); }

 private:
  // A worker that is ready, and knows the devices when the errand needs them. Empty, or why not.
  std::string Prepare(const Errand& errand);
  std::string StartWorker(const Errand& errand);
  // A search: what the worker told of it, and why it did not come to its end; empty: it did.
  struct Search {
    std::uint64_t request = 0;
    std::vector<protocol::DeviceRecord> devices;
    std::string fault;
  };
  Search SearchWithWorker(const Errand& errand, bool isAgain);
  Outcome Converse(const Errand& errand, std::chrono::milliseconds grace,
                   std::function<Talk::Reply(protocol::FromWorker&)> take,
                   std::uint32_t toldEvents = 0);
  // True for what a worker may say at any time, which is written down.
  bool TakeNote(const protocol::FromWorker& message);
  // Gives the worker up unless all went well.
  void Judge(const std::string& subject, const Outcome& outcome);
  // A worker that ended while nobody looked is replaced.
  void DropDeadWorker();
  bool Fits(const protocol::DeviceRecord& record) const;

  const std::string module_;
  const WorkerPlan plan_;
  const TableSizes sizes_;
  WorkerKeeper& keeper_;
  Journal& journal_;
  const WorkerLimits limits_;
  std::uint64_t lastRequest_ = 0;
  std::uint64_t started_ = 0;  // workers so far
  std::unique_ptr<Worker> worker_;
  std::optional<Outcome> untold_;  // an answer that the worker waits for in vain
};

}  // namespace orvan::remote

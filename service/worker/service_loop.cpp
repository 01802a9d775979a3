#include "service/worker/service_loop.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

#include "service/protocol/scan_budget.h"
#include "service/sdk/exception_text.h"
#include "service/worker/contexts.h"
#include "service/worker/device_records.h"

namespace orvan::worker {
namespace {

// Lets a row write that says so, for as long as this lives.
class WriteGrant {
 public:
  WriteGrant(machine::KeptMachine& machine, bool mayWrite) : machine_(machine) {
    machine_.GrantWriting(mayWrite);
  }
  ~WriteGrant() { machine_.GrantWriting(false); }
  WriteGrant(const WriteGrant&) = delete;
  WriteGrant& operator=(const WriteGrant&) = delete;

 private:
  machine::KeptMachine& machine_;
};

// Does an order; each operation gives its end as a message.
class Work {
 public:
  using End = std::variant<protocol::Scanned, protocol::ResourcesTold, protocol::TestEnded,
                           protocol::ToolEnded, protocol::DeviceMissing>;

  Work(HostedModule& hosted, machine::KeptMachine& machine, const ProgramChannel& channel,
       Orders& orders)
      : hosted_(hosted), machine_(machine), channel_(channel), orders_(orders) {}

  // Before each order.
  void Begin() {
    machine_.SkipProbes(false);
    hungBefore_ = machine_.LeftBehind();
  }
  // How many calls of this order hang; those of earlier ones are told already.
  std::size_t LeftBehind() const {
    const std::size_t hung = machine_.LeftBehind();
    return hung - std::min(hung, hungBefore_);
  }

  End operator()(const protocol::Scan& order) {
    machine_.SkipProbes(order.isAgain);
    protocol::ScanBudget budget;
    hosted_.Scan(order.request, orders_.StopToken(), [&](const protocol::DeviceRecord& device) {
      if (!budget.Take(device)) throw std::length_error("more than a search may find");
      if (!order.isAgain) Say(channel_, protocol::Found{order.request, device});
    });
    return protocol::Scanned{order.request, LeftBehind()};
  }

  End operator()(const protocol::TellResources& order) {
    protocol::ScanBudget budget;
    for (const protocol::DeviceName& name : order.devices) {
      const sdk::Device* const device = hosted_.FindDevice(name, false);
      const protocol::Resources told{order.request,
                                     device != nullptr
                                         ? ResourcesOf(*device, orders_.StopToken())
                                         : protocol::ResourcesAnswer{{}, "it was not found again"}};
      if (!budget.Take(told)) throw std::length_error("more than a search may find");
      Say(channel_, told);
    }
    return protocol::ResourcesTold{order.request, LeftBehind()};
  }

  End operator()(const protocol::RunTest& order) {
    const sdk::TestRecord* const row = hosted_.FindTest(order.row);
    if (row == nullptr) Leave(protocol::kExitNoConnection);
    const sdk::Device* const device =
        order.device ? hosted_.FindDevice(*order.device, row->mayWrite) : nullptr;
    if (order.device && device == nullptr) {
      return protocol::DeviceMissing{order.request, *order.device};
    }
    TestContext context(order, device, machine_, channel_, orders_);
    const WriteGrant grant(machine_, row->mayWrite);
    machine_.OnShown(machine::KeptMachine::Moment::kTestBegins);
    sdk::Verdict verdict = row->run(context);
    if (!verdict.message.empty()) machine_.OnShown(machine::KeptMachine::Moment::kMessage);
    return protocol::TestEnded{order.request, std::move(verdict), LeftBehind()};
  }

  End operator()(const protocol::RunTool& order) {
    const sdk::ToolRecord* const row = hosted_.FindTool(order);
    if (row == nullptr || (order.reportsCanceled && !row->reportCanceled)) {
      Leave(protocol::kExitNoConnection);
    }
    std::optional<protocol::DeviceName> missing;
    std::vector<const sdk::Device*> devices = Find(order.devices, row->mayWrite, missing);
    std::vector<const sdk::Device*> candidates = Find(order.candidates, row->mayWrite, missing);
    if (missing) return protocol::DeviceMissing{order.request, *std::move(missing)};
    ToolContext context(order, std::move(devices), std::move(candidates), channel_, orders_);
    const WriteGrant grant(machine_, row->mayWrite && !order.reportsCanceled);
    (order.reportsCanceled ? row->reportCanceled : row->run)(context);
    return protocol::ToolEnded{order.request, LeftBehind()};
  }

 private:
  std::vector<const sdk::Device*> Find(const std::vector<protocol::DeviceName>& names,
                                       bool mayWrite,
                                       std::optional<protocol::DeviceName>& missing) const {
    std::vector<const sdk::Device*> found;
    for (const protocol::DeviceName& name : names) {
      found.push_back(hosted_.FindDevice(name, mayWrite));
      if (found.back() == nullptr) missing = name;
    }
    return found;
  }

  HostedModule& hosted_;
  machine::KeptMachine& machine_;
  const ProgramChannel& channel_;
  Orders& orders_;
  std::size_t hungBefore_ = 0;
};

std::uint64_t RequestOf(const Order& order) {
  return std::visit([](const auto& given) { return given.request; }, order);
}

}  // namespace

void Serve(HostedModule& hosted, machine::KeptMachine& machine, const ProgramChannel& channel,
           Orders& orders) {
  Work work(hosted, machine, channel, orders);
  while (true) {
    const Order order = orders.Take();
    work.Begin();
    std::optional<Work::End> end;
    protocol::Threw failure{RequestOf(order), {}, 0};
    try {
      end = std::visit(work, order);
    } catch (...) {
      failure.text = sdk::CurrentExceptionText();
      failure.leftBehind = work.LeftBehind();
    }
    orders.Finish();
    try {
      if (end) {
        std::visit([&](const auto& said) { Say(channel, said); }, *end);
        continue;
      }
    } catch (...) {
      failure.text = sdk::CurrentExceptionText();
    }
    Say(channel, failure);
  }
}

}  // namespace orvan::worker

#include "service/remote/tool_talk.h"

#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "service/remote/remote_device.h"
#include "service/remote/words.h"

namespace orvan::remote {
namespace {

using Reply = Talk::Reply;

// What a worker says while it runs a tool.
class ToolTalk {
 public:
  ToolTalk(WorkerHost& host, const std::uint64_t& request, sdk::ToolContext& context)
      : host_(host), request_(request), context_(context) {}

  Reply operator()(protocol::FromWorker& message) {
    return std::visit([this](auto& said) { return TakeOwn(said); }, message);
  }

  // The end.
  std::optional<std::string> thrown;
  std::uint64_t leftBehind = 0;

 private:
  template <typename Said>
  Reply TakeOwn(Said& said) {
    if constexpr (requires { said.request; }) {
      if (said.request != request_) return Reply::kGarbage;
    }
    return Take(said);
  }
  Reply Take(protocol::Logged& said) {
    context_.Log(said.level, said.text);
    return Reply::kMore;
  }
  Reply Take(protocol::ToolSet& said) {
    context_.SetProperty(said.key, said.values);
    return Reply::kMore;
  }
  Reply Take(protocol::ToolGet& said) {
    return Answer({request_, false, context_.GetProperty(said.key)});
  }
  Reply Take(protocol::ToolFire& said) { return Answer({request_, context_.Fire(said.event), {}}); }
  Reply Take(protocol::ToolWithdraw& said) {
    if (said.candidate >= context_.Candidates().size()) return Reply::kGarbage;
    context_.Withdraw(*context_.Candidates()[said.candidate]);
    return Reply::kMore;
  }
  Reply Take(protocol::ToolFailed& said) {
    context_.Fail(said.reason);
    return Reply::kMore;
  }
  Reply Take(protocol::ToolEnded& said) {
    leftBehind = said.leftBehind;
    return Reply::kDone;
  }
  Reply Take(protocol::Threw& said) {
    thrown = std::move(said.text);
    leftBehind = said.leftBehind;
    return Reply::kDone;
  }
  Reply Take(protocol::DeviceMissing& said) {
    thrown = "device " + said.device.id + " was not found again";
    return Reply::kDone;
  }
  template <typename Other>
  Reply Take(Other& /*said*/) {
    return Reply::kGarbage;
  }
  Reply Answer(protocol::ToolAnswer answer) {
    host_.Answer(answer);
    return Reply::kMore;
  }

  WorkerHost& host_;
  const std::uint64_t& request_;
  sdk::ToolContext& context_;
};

std::vector<protocol::DeviceName> NamesOf(const std::vector<const sdk::Device*>& devices) {
  std::vector<protocol::DeviceName> names;
  names.reserve(devices.size());
  for (const sdk::Device* device : devices) names.push_back(AsRemote(*device).Name());
  return names;
}

}  // namespace

void RunToolRemotely(WorkerHost& host, const ToolName& tool, bool reportsCanceled,
                     sdk::ToolContext& context) {
  protocol::RunTool order;
  order.tool = tool.row;
  order.name = tool.name;
  order.reportsCanceled = reportsCanceled;
  order.hasListener = context.HasListener();
  order.devices = NamesOf(context.Devices());
  order.candidates = NamesOf(context.Candidates());
  Errand errand;
  errand.subject = "tool " + tool.name;
  errand.needsDevices = !order.devices.empty() || !order.candidates.empty();
  errand.stop = context.StopToken();
  errand.whyStop = [&context] { return context.WhyStop(); };
  errand.systemEvents = [&context] { return context.SystemEvents(); };
  ToolTalk talk(host, order.request, context);
  const Finding finding =
      host.Run(errand, order, [&talk](protocol::FromWorker& message) { return talk(message); });
  if (!finding.notBegun.empty()) throw std::runtime_error(finding.notBegun);
  if (finding.outcome.kind == Outcome::Kind::kStoppedLate) {
    context.Fail("the worker " + WhatBecame(finding.outcome));
    return;
  }
  if (finding.outcome.kind != Outcome::Kind::kDone) {
    throw std::runtime_error("the worker " + WhatBecame(finding.outcome));
  }
  host.NoteLeftBehind(errand.subject, talk.leftBehind);
  if (talk.thrown) throw std::runtime_error(*talk.thrown);
}

}  // namespace orvan::remote

#include "service/remote/tool_talk.h"

#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "service/remote/log_budget.h"
#include "service/remote/remote_device.h"
#include "service/remote/tool_story.h"
#include "service/remote/words.h"

namespace orvan::remote {
namespace {

using Reply = Talk::Reply;

// What a worker says while it runs a tool.
class ToolTalk {
 public:
  ToolTalk(WorkerHost& host, const std::uint64_t& request, sdk::ToolContext& context,
           ToolStory& story)
      : host_(host), request_(request), context_(context), story_(story) {}

  Reply operator()(protocol::FromWorker& message) {
    return std::visit([this](auto& said) { return TakeOwn(said); }, message);
  }

  // The end.
  std::optional<std::string> thrown;
  std::string fault;  // why it did not begin; empty: it did
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
    if (log_.Take(said.text.size(), context_)) context_.Log(said.level, said.text);
    return Reply::kMore;
  }
  Reply Take(protocol::ToolSet& said) {
    story_.Set(said.key, said.values);
    return Reply::kMore;
  }
  Reply Take(protocol::ToolGet& said) {
    return Answer({request_, false, context_.GetProperty(said.key)});
  }
  Reply Take(protocol::ToolFire& said) { return Answer({request_, story_.Fire(said.event), {}}); }
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
    fault = "device " + said.device.id + " was not found again";
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
  ToolStory& story_;
  LogBudget log_{"tool"};
};

std::vector<protocol::DeviceName> NamesOf(const std::vector<const sdk::Device*>& devices) {
  std::vector<protocol::DeviceName> names;
  names.reserve(devices.size());
  for (const sdk::Device* device : devices) names.push_back(AsRemote(*device).Name());
  return names;
}

protocol::RunTool OrderOf(const ToolName& tool, bool reportsCanceled,
                          const sdk::ToolContext& context) {
  protocol::RunTool order;
  order.tool = tool.row;
  order.name = tool.name;
  order.reportsCanceled = reportsCanceled;
  order.hasListener = context.HasListener();
  order.devices = NamesOf(context.Devices());
  order.candidates = NamesOf(context.Candidates());
  return order;
}

Errand ErrandOf(const ToolName& tool, bool reportsCanceled, sdk::ToolContext& context) {
  Errand errand;
  errand.subject = "tool " + tool.name;
  errand.needsDevices = !context.Devices().empty() || !context.Candidates().empty();
  errand.beginsStopped = reportsCanceled;
  errand.stop = context.StopToken();
  errand.whyStop = [&context] { return context.WhyStop(); };
  errand.systemEvents = [&context] { return context.SystemEvents(); };
  return errand;
}

// Tells whoever can be told that the tool has failed.
void Fail(WorkerHost& host, const ToolName& tool, const std::string& reason, ToolStory& story,
          ToolStory::End end, sdk::ToolContext& context) {
  context.Fail(reason);
  // Nobody knows which of them the tool is for.
  for (const sdk::Device* device : context.Candidates()) context.Withdraw(*device);
  if (!story.Finish(end, reason)) host.Tell("tool " + tool.name + ": " + reason);
}

}  // namespace

void RunToolRemotely(WorkerHost& host, const ToolName& tool, bool reportsCanceled,
                     sdk::ToolContext& context) {
  using End = ToolStory::End;
  protocol::RunTool order = OrderOf(tool, reportsCanceled, context);
  const Errand errand = ErrandOf(tool, reportsCanceled, context);
  ToolStory story(context, tool.name);
  ToolTalk talk(host, order.request, context, story);
  const Finding finding =
      host.Run(errand, order, [&talk](protocol::FromWorker& message) { return talk(message); });
  if (!finding.notBegun.empty() && errand.stop.stop_requested() && context.HasListener()) {
    if (tool.reportsCanceled && !reportsCanceled) return RunToolRemotely(host, tool, true, context);
    // What may write and has no words of its own is reported in those of a repair.
    ToolStory canceled(context, tool.mayWrite ? kRepairTool : tool.name);
    if (canceled.Finish(End::kCanceled, {})) return;
  }
  if (!finding.notBegun.empty()) {
    return Fail(host, tool, finding.notBegun, story, End::kFailed, context);
  }
  if (finding.outcome.kind != Outcome::Kind::kDone) {
    const bool isAsked = finding.outcome.kind == Outcome::Kind::kStoppedLate;
    return Fail(host, tool, "the worker " + WhatBecame(finding.outcome), story,
                isAsked ? End::kCanceled : End::kFailed, context);
  }
  host.NoteLeftBehind(errand.subject, talk.leftBehind);
  if (!talk.fault.empty()) return Fail(host, tool, talk.fault, story, End::kFailed, context);
  if (talk.thrown) throw std::runtime_error(*talk.thrown);
}

}  // namespace orvan::remote

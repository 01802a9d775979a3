#include "service/remote/scan_resources.h"

#include <string>

#include "service/protocol/scan_budget.h"
#include "service/remote/words.h"
#include "service/remote/worker_host.h"

namespace orvan::remote {
namespace {

using Reply = Talk::Reply;

constexpr char kSubject[] = "resources";

// What a worker says while it looks at the resources of so many devices.
class ResourceTalk {
 public:
  ResourceTalk(const std::uint64_t& request, std::size_t count)
      : request_(request), count_(count) {}

  Reply operator()(protocol::FromWorker& message) {
    return std::visit([this](auto& said) { return Take(said); }, message);
  }

  std::vector<protocol::ResourcesAnswer> answers;
  // The end.
  std::optional<std::string> thrown;
  std::uint64_t leftBehind = 0;

 private:
  Reply Take(protocol::Resources& said) {
    if (said.request != request_ || answers.size() == count_) return Reply::kGarbage;
    if (!budget_.Take(said)) return Reply::kGarbage;
    answers.push_back(std::move(said.resources));
    return Reply::kMore;
  }
  Reply Take(protocol::ResourcesTold& said) {
    return answers.size() == count_ ? End(said) : Reply::kGarbage;
  }
  Reply Take(protocol::Threw& said) {
    thrown = std::move(said.text);
    return End(said);
  }
  template <typename Other>
  Reply Take(Other& /*said*/) {
    return Reply::kGarbage;
  }
  template <typename Said>
  Reply End(const Said& said) {
    leftBehind = said.leftBehind;
    return said.request == request_ ? Reply::kDone : Reply::kGarbage;
  }

  const std::uint64_t& request_;
  const std::size_t count_;
  protocol::ScanBudget budget_;
};

// Why they were not all told; empty: they were.
std::string FaultOf(const Finding& finding, const ResourceTalk& talk) {
  if (!finding.notBegun.empty()) return finding.notBegun;
  if (finding.outcome.kind != Outcome::Kind::kDone) {
    return "the worker " + WhatBecame(finding.outcome);
  }
  return talk.thrown.value_or(std::string());
}

}  // namespace

const protocol::ResourcesAnswer& ScanResources::Of(std::size_t place, std::stop_token stop) {
  if (!answers_) answers_ = Ask(std::move(stop));
  return answers_->at(place);
}

std::vector<protocol::ResourcesAnswer> ScanResources::Ask(std::stop_token stop) {
  protocol::TellResources order;
  order.devices = names_;
  Errand errand;
  errand.subject = kSubject;
  errand.needsDevices = true;
  // What is known without a look is told after a stop, too, by a worker that is there.
  errand.beginsStopped = host_.KnowsDevices();
  errand.isSearch = true;
  errand.stop = stop;
  ResourceTalk talk(order.request, names_.size());
  const Finding finding =
      host_.Run(errand, order, [&talk](protocol::FromWorker& message) { return talk(message); });
  host_.NoteHungSearch(errand.subject, talk.leftBehind);
  const std::string fault = FaultOf(finding, talk);
  const bool isTold = !fault.empty() && !stop.stop_requested();
  if (isTold) {
    host_.Tell("the resources of the devices of module " + host_.Module() +
               " could not all be looked at: " + fault);
  }
  talk.answers.resize(names_.size(),
                      {{}, isTold ? std::optional<std::string>(fault) : std::nullopt});
  return std::move(talk.answers);
}

}  // namespace orvan::remote

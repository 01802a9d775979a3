#include "service/remote/testing_talk.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "service/remote/log_budget.h"
#include "service/remote/remote_device.h"
#include "service/remote/words.h"

namespace orvan::remote {
namespace {

using Reply = Talk::Reply;

constexpr char kNotFoundAgain[] = "|THE_DEVICE_WAS_NOT_FOUND_AGAIN";

// What a worker says while it runs a test.
class TestTalk {
 public:
  TestTalk(const std::uint64_t& request, sdk::TestContext& context)
      : request_(request), context_(context) {}

  Reply operator()(protocol::FromWorker& message) {
    return std::visit([this](auto& said) { return Take(said); }, message);
  }

  // The end.
  sdk::Verdict verdict;
  std::optional<std::string> thrown;
  std::uint64_t leftBehind = 0;

 private:
  Reply Take(protocol::Progress& said) {
    if (said.request != request_) return Reply::kGarbage;
    context_.Report(said.percent, said.message);
    return Reply::kMore;
  }
  Reply Take(protocol::Measured& said) {
    if (said.request != request_) return Reply::kGarbage;
    std::vector<sdk::Limit>& limits = said.measurement.limits;
    limits.resize(std::min(limits.size(), sdk::kMostLimits));
    const std::size_t texts = said.measurement.name.size() + said.measurement.unit.size();
    if (log_.Take(texts, context_)) context_.Measure(said.measurement);
    return Reply::kMore;
  }
  Reply Take(protocol::MeasuredSeries& said) {
    if (said.request != request_) return Reply::kGarbage;
    std::vector<sdk::MeasurementSeries::Point>& points = said.series.points;
    points.resize(std::min(points.size(), sdk::kMostSeriesPoints));
    const std::size_t texts = said.series.name.size() + said.series.unit.size() +
                              said.series.axis.size() + said.series.axisUnit.size();
    // Each point is an entry of the log.
    if (log_.Take(texts, context_, 1 + points.size())) context_.MeasureSeries(said.series);
    return Reply::kMore;
  }
  Reply Take(protocol::Logged& said) {
    if (said.request != request_) return Reply::kGarbage;
    if (log_.Take(said.text.size(), context_)) context_.Log(said.level, said.text);
    return Reply::kMore;
  }
  Reply Take(protocol::TestEnded& said) {
    verdict = std::move(said.verdict);
    return End(said);
  }
  Reply Take(protocol::Threw& said) {
    thrown = std::move(said.text);
    return End(said);
  }
  Reply Take(protocol::DeviceMissing& said) {
    verdict = sdk::Verdict::Invalid(kNotFoundAgain);
    return said.request == request_ ? Reply::kDone : Reply::kGarbage;
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
  sdk::TestContext& context_;
  LogBudget log_{"test"};
};

}  // namespace

sdk::Verdict RunTestRemotely(WorkerHost& host, const protocol::RowName& row,
                             const std::string& title, sdk::TestContext& context) {
  protocol::RunTest order;
  order.row = row;
  order.parameters = context.Parameters();
  Errand errand;
  errand.subject = "test " + title;
  if (const sdk::Device* device = context.TestedDevice()) {
    order.device = AsRemote(*device).Name();
    errand.needsDevices = true;
    errand.subject += " on device " + order.device->id;
  }
  errand.stop = context.StopToken();
  errand.whyStop = [&context] { return context.WhyStop(); };
  errand.systemEvents = [&context] { return context.SystemEvents(); };
  TestTalk talk(order.request, context);
  const Finding finding =
      host.Run(errand, order, [&talk](protocol::FromWorker& message) { return talk(message); });
  if (!finding.notBegun.empty()) {
    if (errand.stop.stop_requested()) return sdk::Verdict::Canceled();
    return sdk::Verdict::Invalid(KeyOfText("The test did not begin: " + finding.notBegun));
  }
  if (finding.outcome.kind == Outcome::Kind::kStoppedLate) return sdk::Verdict::Canceled();
  if (finding.outcome.kind != Outcome::Kind::kDone) {
    return sdk::Verdict::Invalid(KeyOfText("The test's worker " + WhatBecame(finding.outcome)));
  }
  host.NoteLeftBehind(errand.subject, talk.leftBehind);
  if (talk.thrown) throw std::runtime_error(*talk.thrown);
  return talk.verdict;
}

}  // namespace orvan::remote

#include "service/remote/worker_host.h"

#include <map>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "service/protocol/scan_budget.h"
#include "service/remote/remote_device.h"
#include "service/remote/scan_resources.h"
#include "service/remote/words.h"

namespace orvan::remote {
namespace {

using Reply = Talk::Reply;

constexpr char kStoppedBefore[] = "it was to stop before it began";

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

std::string NotBack(std::uint64_t calls) {
  return "the system did not come back from " + std::to_string(calls) +
         (calls == 1 ? " call" : " calls");
}

// The names of a scan's devices, which are told apart by their place there.
std::vector<protocol::DeviceName> NamesOf(std::uint64_t scan,
                                          const std::vector<protocol::DeviceRecord>& records) {
  std::map<std::string, std::uint32_t> alike;
  for (const protocol::DeviceRecord& record : records) ++alike[record.uniqueId.value];
  std::vector<protocol::DeviceName> names;
  for (const protocol::DeviceRecord& record : records) {
    const auto place = static_cast<std::uint32_t>(names.size());
    names.push_back({record.uniqueId.value, record.id, scan, place, alike[record.uniqueId.value]});
  }
  return names;
}

std::vector<std::unique_ptr<sdk::Device>> DevicesOf(std::uint64_t scan,
                                                    std::vector<protocol::DeviceRecord> records,
                                                    WorkerHost& host) {
  std::vector<protocol::DeviceName> names = NamesOf(scan, records);
  const auto resources = std::make_shared<ScanResources>(host, names);
  std::vector<std::unique_ptr<sdk::Device>> devices;
  for (std::size_t i = 0; i < records.size(); ++i) {
    devices.push_back(records[i].isNone
                          ? nullptr
                          : std::make_unique<RemoteDevice>(std::move(records[i]),
                                                           std::move(names[i]), resources));
  }
  return devices;
}

// What a worker says while it searches.
class SearchTalk {
 public:
  using Fits = std::function<bool(const protocol::DeviceRecord&)>;
  SearchTalk(const protocol::Scan& order, std::vector<protocol::DeviceRecord>& devices, Fits fits)
      : order_(order), devices_(devices), fits_(std::move(fits)) {}

  Reply operator()(protocol::FromWorker& message) {
    if (auto* const found = std::get_if<protocol::Found>(&message)) return Take(*found);
    if (auto* const threw = std::get_if<protocol::Threw>(&message)) {
      thrown = std::move(threw->text);
      return End(*threw);
    }
    const auto* const scanned = std::get_if<protocol::Scanned>(&message);
    return scanned != nullptr ? End(*scanned) : Reply::kGarbage;
  }

  // The end.
  std::optional<std::string> thrown;
  std::uint64_t leftBehind = 0;

 private:
  Reply Take(protocol::Found& found) {
    if (found.request != order_.request || order_.isAgain) return Reply::kGarbage;
    if (!fits_(found.device) || !budget_.Take(found.device)) return Reply::kGarbage;
    devices_.push_back(std::move(found.device));
    return Reply::kMore;
  }
  template <typename Said>
  Reply End(const Said& said) {
    leftBehind = said.leftBehind;
    return said.request == order_.request ? Reply::kDone : Reply::kGarbage;
  }

  const protocol::Scan& order_;
  std::vector<protocol::DeviceRecord>& devices_;
  const Fits fits_;
  protocol::ScanBudget budget_;
};

}  // namespace

Outcome WorkerHost::Converse(const Errand& errand, std::chrono::milliseconds grace,
                             std::function<Reply(protocol::FromWorker&)> take,
                             std::uint32_t toldEvents) {
  const auto takeAll = [&](protocol::FromWorker& message) {
    if (TakeNote(message)) return Reply::kMore;
    const Reply reply = take(message);
    return untold_ ? Reply::kGarbage : reply;
  };
  const Talk talk{lastRequest_,        errand.stop, grace,     errand.whyStop,
                  errand.systemEvents, takeAll,     toldEvents};
  try {
    const Outcome outcome = Conversation(*worker_, limits_, talk).Run();
    const std::optional<Outcome> untold = std::exchange(untold_, std::nullopt);
    return untold && outcome.kind == Outcome::Kind::kGarbage ? *untold : outcome;
  } catch (...) {
    // It is busy with what nobody listens to any more.
    worker_.reset();
    untold_.reset();
    throw;
  }
}

bool WorkerHost::TakeNote(const protocol::FromWorker& message) {
  const auto* const ended = std::get_if<protocol::RecordingEnded>(&message);
  if (ended == nullptr) return false;
  journal_.Note(sdk::LogLevel::kWarning,
                "the recording of module " + module_ + " ends here: " + ErrorText(ended->error));
  return true;
}

void WorkerHost::Judge(const std::string& subject, const Outcome& outcome) {
  if (outcome.kind == Outcome::Kind::kDone) return;
  worker_.reset();
  const bool isAsked = outcome.kind == Outcome::Kind::kStoppedLate;
  journal_.Note(isAsked ? sdk::LogLevel::kWarning : sdk::LogLevel::kError,
                subject + ": the worker of module " + module_ + ' ' + WhatBecameInFull(outcome));
}

void WorkerHost::NoteLeftBehind(const std::string& subject, std::uint64_t calls) {
  if (calls == 0) return;
  worker_.reset();
  journal_.Note(sdk::LogLevel::kWarning, subject + ": the worker of module " + module_ +
                                             " was left behind, for " + NotBack(calls));
}

// Another worker would search the same devices and hang there, too, so this one is kept.
void WorkerHost::NoteHungSearch(const std::string& subject, std::uint64_t calls) {
  if (calls == 0) return;
  journal_.Note(sdk::LogLevel::kWarning,
                subject + ": in the worker of module " + module_ + ' ' + NotBack(calls));
}

bool WorkerHost::KnowsDevices() {
  DropDeadWorker();
  return worker_ != nullptr && worker_->hasScanned;
}

void WorkerHost::Answer(const protocol::ToolAnswer& answer) {
  int error = worker_->Channel().Send(answer, false);
  if (error == EMSGSIZE) {
    error = worker_->Channel().Send(
        protocol::ToolAnswer{answer.request, answer.isHandled, {}, true}, false);
  }
  untold_ = Untold(error);
}

void WorkerHost::DropDeadWorker() {
  if (worker_ == nullptr) return;
  // It has nothing to say but that it has ended.
  const Talk talk{lastRequest_, {}, {}, {}, {}, [this](protocol::FromWorker& message) {
                    return TakeNote(message) ? Reply::kMore : Reply::kGarbage;
                  }};
  const std::optional<Outcome> over = Conversation(*worker_, limits_, talk).Drain();
  if (over) Judge("between two orders", *over);
}

std::string WorkerHost::StartWorker(const Errand& errand) {
  int error = 0;
  worker_ = Worker::Start(keeper_, plan_, started_++, error);
  if (worker_ == nullptr) return "its worker could not be started: " + ErrorText(error);
  std::string refusal;
  const Outcome outcome = Converse(errand, limits_.scanGrace, [&](protocol::FromWorker& message) {
    if (auto* const refused = std::get_if<protocol::Refused>(&message)) {
      refusal = "its worker has no module: " + refused->reason;
      return Reply::kDone;
    }
    const auto* const ready = std::get_if<protocol::Ready>(&message);
    return ready != nullptr && ready->version == protocol::kVersion ? Reply::kDone
                                                                    : Reply::kGarbage;
  });
  if (outcome.kind != Outcome::Kind::kDone) {
    Judge("at its start", outcome);
    return "its worker " + WhatBecame(outcome);
  }
  if (!refusal.empty()) worker_.reset();
  return refusal;
}

std::string WorkerHost::Prepare(const Errand& errand) {
  const auto isStopped = [&errand] {
    return !errand.beginsStopped && errand.stop.stop_requested();
  };
  DropDeadWorker();
  if (worker_ == nullptr && !isStopped()) {
    if (std::string fault = StartWorker(errand); !fault.empty()) return fault;
  }
  if (errand.needsDevices && !isStopped() && !worker_->hasScanned) {
    const Search search = SearchWithWorker(errand, true);
    if (!search.fault.empty()) return search.fault;
  }
  // What is not begun needs no time to end.
  return isStopped() ? kStoppedBefore : std::string();
}

bool WorkerHost::Fits(const protocol::DeviceRecord& record) const {
  if (record.isNone || record.whyUntestable) return record.tests.empty() && record.tools.empty();
  return record.tests.size() == sizes_.tests && record.tools.size() == sizes_.tools;
}

WorkerHost::Search WorkerHost::SearchWithWorker(const Errand& errand, bool isAgain) {
  const protocol::Scan order{++lastRequest_, isAgain};
  const std::optional<Outcome> untold = Untold(worker_->Channel().Send(order, false));
  Search search{order.request, {}, {}};
  SearchTalk talk(order, search.devices, [this](const auto& device) { return Fits(device); });
  const Outcome outcome =
      untold ? *untold
             : Converse(errand, limits_.scanGrace,
                        [&talk](protocol::FromWorker& message) { return talk(message); });
  Judge(errand.subject, outcome);
  if (outcome.kind != Outcome::Kind::kDone) {
    search.fault = "the worker " + WhatBecame(outcome);
    return search;
  }
  NoteHungSearch(errand.subject, talk.leftBehind);
  if (talk.thrown) search.fault = *talk.thrown;
  // What it had found before it threw it still knows.
  worker_->hasScanned = !talk.thrown || !search.devices.empty();
  return search;
}

void WorkerHost::Scan(sdk::ScanContext& scan) {
  Errand errand;
  errand.subject = "scan";
  errand.stop = scan.StopToken();
  if (const std::string fault = Prepare(errand); !fault.empty()) throw std::runtime_error(fault);
  Search search = SearchWithWorker(errand, false);
  for (auto& device : DevicesOf(search.request, std::move(search.devices), *this)) {
    scan.Found(std::move(device));
  }
  if (!search.fault.empty()) throw std::runtime_error(search.fault);
}

}  // namespace orvan::remote

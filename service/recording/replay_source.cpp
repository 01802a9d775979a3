#include "service/recording/replay_source.h"

#include <algorithm>

#include "service/recording/accesses.h"

namespace orvan::recording {
namespace {

// How far time goes where the recording tells no more.
constexpr std::uint64_t kBeyondStep = 1000;  // in microseconds
// Reads that went well are told one by one up to so many; those that did not, always.
constexpr std::size_t kMostKnownReads = 1U << 20;
// More looks at the clock without a line in between than any recorded run makes.
constexpr std::uint64_t kMostLooks = 1000000;

// Where the process number `worker` of the recorded run began; the last one, when there were fewer.
std::size_t BeginOf(const Recording::Lines& lines, std::uint64_t worker) {
  std::size_t begin = 0;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (lines[i].access != kind::kBegin) continue;
    if (AnswerOf<std::uint64_t>(lines[i].answer) > worker) break;
    begin = i;
  }
  return begin;
}

}  // namespace

ReplaySource::ReplaySource(std::shared_ptr<const Recording> recording, const std::string& module,
                           std::uint64_t worker)
    : recording_(std::move(recording)), lines_(recording_->LinesOf(module)) {
  const std::size_t begin = BeginOf(lines_, worker);
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    Queue& queue = queues_[lines_[i].access];
    if (i < begin) ++queue.next;
    queue.lines.push_back(static_cast<std::uint32_t>(i));
  }
  afterAnswer_ = begin;
  if (!lines_.empty()) time_ = lines_[begin].time;
  if (begin < lines_.size() && lines_[begin].access == kind::kBegin) ++afterAnswer_;
  LearnReads();
}

void ReplaySource::LearnReads() {
  std::map<std::string, std::string> devices;  // by the name of a reader
  for (const Recording::Line& line : lines_) {
    FieldReader access(line.access);
    const std::string kind = access.Text();
    if (kind == kind::kOpenReader && !access.IsAtEnd()) {
      devices[AnswerOf<ReaderAnswer>(line.answer).name] = access.Text();
    }
    if (kind != kind::kCollect || access.IsAtEnd()) continue;
    const auto device = devices.find(access.Text());
    if (device == devices.end()) continue;
    for (CollectedReads read : AnswerOf<CollectAnswer>(line.answer).reads) {
      const std::uint32_t count = read.count;
      read.count = 1;
      for (std::uint32_t i = 0; i < count; ++i, read.offsetBytes += read.sizeBytes) {
        if (read.outcome == sdk::ReadOutcome::kRead && reads_.size() >= kMostKnownReads) continue;
        reads_[{device->second, read.offsetBytes, read.sizeBytes}] = read;
      }
    }
  }
}

std::optional<CollectedReads> ReplaySource::LastRead(const std::string& device,
                                                     std::uint64_t offset,
                                                     std::uint32_t size) const {
  const auto found = reads_.find({device, offset, size});
  if (found == reads_.end()) return {};
  return found->second;
}

std::optional<std::string_view> ReplaySource::NextText(const std::string& access, bool maybeAgain) {
  const std::lock_guard lock(mutex_);
  const auto found = queues_.find(access);
  if (found == queues_.end()) return {};
  Queue& queue = found->second;
  if (queue.next == queue.lines.size()) {
    if (!maybeAgain) return {};
    time_ += kBeyondStep;
    return lines_[queue.lines.back()].answer;
  }
  const std::uint32_t index = queue.lines[queue.next++];
  time_ = std::max(time_, lines_[index].time);
  looks_ = 0;
  afterAnswer_ = std::size_t{index} + 1;
  return lines_[index].answer;
}

ReplaySource::Time ReplaySource::Now() {
  const std::lock_guard lock(mutex_);
  ++looks_;
  const bool isTold = afterAnswer_ < lines_.size() && lines_[afterAnswer_].access == kind::kNow;
  if (isTold && AnswerOf<std::uint64_t>(lines_[afterAnswer_].answer) == looks_) {
    time_ = std::max(time_, lines_[afterAnswer_++].time);
    looks_ = 0;
  } else if (looks_ > kMostLooks) {
    time_ += kBeyondStep;
  }
  return Time() + std::chrono::microseconds(time_);
}

void ReplaySource::PassTime(std::chrono::microseconds time) {
  const std::lock_guard lock(mutex_);
  time_ += static_cast<std::uint64_t>(std::max<std::int64_t>(time.count(), 0));
}

}  // namespace orvan::recording

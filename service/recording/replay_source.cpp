#include "service/recording/replay_source.h"

#include <algorithm>
#include <iterator>
#include <numeric>

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
  begin_ = BeginOf(lines_, worker);
  byAccess_.resize(lines_.size());
  std::iota(byAccess_.begin(), byAccess_.end(), 0U);
  std::sort(byAccess_.begin(), byAccess_.end(), [this](std::uint32_t a, std::uint32_t b) {
    const int order = lines_[a].access.compare(lines_[b].access);
    return order != 0 ? order < 0 : a < b;
  });
  afterAnswer_ = begin_;
  if (!lines_.empty()) time_ = lines_[begin_].time;
  if (begin_ < lines_.size() && lines_[begin_].access == kind::kBegin) ++afterAnswer_;
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
  const auto first = std::lower_bound(byAccess_.begin(), byAccess_.end(), access,
                                      [this](std::uint32_t line, const std::string& wanted) {
                                        return lines_[line].access < wanted;
                                      });
  const auto end = std::upper_bound(first, byAccess_.end(), access,
                                    [this](const std::string& wanted, std::uint32_t line) {
                                      return wanted < lines_[line].access;
                                    });
  if (first == end) return {};
  const auto fresh = std::lower_bound(first, end, begin_);
  std::size_t& next =
      next_.try_emplace(lines_[*first].access, fresh - byAccess_.begin()).first->second;
  if (next == static_cast<std::size_t>(end - byAccess_.begin())) {
    if (!maybeAgain) return {};
    time_ += kBeyondStep;
    return lines_[*std::prev(end)].answer;
  }
  const std::uint32_t index = byAccess_[next++];
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

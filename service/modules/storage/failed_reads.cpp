#include "service/modules/storage/failed_reads.h"

#include <chrono>

namespace orvan::storage {
namespace {

// A disk that is pulled out may answer reads with errors for so long before it is gone.
constexpr std::chrono::milliseconds kLastMoment{5000};

}  // namespace

void FailedReads::Suspect(const FailedRead& failure, Duration now) {
  if (failure.isVouched) {
    count_(failure);
  } else {
    suspects_.push_back(failure);
    suspectSectors_ += failure.isSector ? 1 : 0;
  }
  while (!suspects_.empty() && suspects_.front().when < now - kLastMoment) {
    suspectSectors_ -= suspects_.front().isSector ? 1 : 0;
    count_(suspects_.front());
    suspects_.pop_front();
  }
}

void FailedReads::Vouch() {
  for (FailedRead& failure : blocks) failure.isVouched = true;
  for (const FailedRead& failure : suspects_) count_(failure);
  suspects_.clear();
  suspectSectors_ = 0;
}

FailedReads::LastMoment FailedReads::ForgetLastMoment(Duration now) {
  LastMoment last;
  const auto isPart = [&last, now](const FailedRead& failure) {
    const bool isLast = !failure.isVouched && failure.when >= now - kLastMoment;
    if (isLast) ++last.reads;
    if (isLast && (!last.oldest || failure.id < last.oldest->id)) last.oldest = failure;
    return isLast;
  };
  std::erase_if(suspects_, isPart);
  std::erase_if(blocks, isPart);
  return last;
}

void FailedReads::CountAll() {
  for (const FailedRead& failure : suspects_) count_(failure);
  for (const FailedRead& failure : blocks) count_(failure);
}

}  // namespace orvan::storage

#include "service/modules/storage/deadline.h"

#include <condition_variable>
#include <mutex>
#include <utility>

namespace orvan::storage {

Deadline::Deadline(std::chrono::milliseconds time)
    : timer_([source = source_, time](std::stop_token end) mutable {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any().wait_for(lock, std::move(end), time, [] { return false; });
        source.request_stop();
      }) {}

}  // namespace orvan::storage

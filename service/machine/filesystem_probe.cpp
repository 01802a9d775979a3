#include "service/machine/filesystem_probe.h"

#include <algorithm>
#include <utility>

#include "service/machine/device_probe.h"

namespace orvan::machine {
namespace {

using std::chrono::milliseconds;

class LiveProbe final : public sdk::FilesystemProbe {
 public:
  LiveProbe(ApartCalls& calls, milliseconds budget) : calls_(calls), budget_(budget) {}

  std::optional<sdk::FilesystemFacts> Probe(const std::string& device,
                                            const std::string& mountPoint, milliseconds limit,
                                            std::stop_token stop) override {
    const auto left = std::chrono::duration_cast<milliseconds>(budget_);
    if (left <= milliseconds::zero()) return {};
    const milliseconds most = std::min(limit, left);
    ApartCalls::End end = ApartCalls::End::kNotTried;
    sdk::AwakeClock::Duration took{};
    // One that stalls is none of the device's, and is not waited for any longer either.
    auto facts = calls_.Ask([device, mountPoint] { return LookAt(device, mountPoint); },
                            {.time = most, .stop = std::move(stop), .stall = most}, end, &took);
    budget_ -= took;
    return facts;
  }

 private:
  ApartCalls& calls_;
  sdk::AwakeClock::Duration budget_;  // what is left of it
};

}  // namespace

std::unique_ptr<sdk::FilesystemProbe> MakeFilesystemProbe(ApartCalls& calls, milliseconds budget) {
  return std::make_unique<LiveProbe>(calls, budget);
}

}  // namespace orvan::machine

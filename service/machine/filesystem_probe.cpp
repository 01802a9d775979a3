#include "service/machine/filesystem_probe.h"

#include <algorithm>
#include <array>

#include "service/machine/helper_process.h"
#include "service/machine/helper_protocol.h"
#include "service/sdk/awake_clock.h"

namespace orvan::machine {
namespace {

constexpr std::chrono::milliseconds kStopPoll{50};

template <std::size_t N>
bool Put(std::array<char, N>& field, const std::string& text) {
  if (text.size() >= N) return false;
  std::copy(text.begin(), text.end(), field.begin());
  return true;
}

template <std::size_t N>
std::string Get(const std::array<char, N>& field) {
  return std::string(field.begin(), std::find(field.begin(), field.end(), '\0'));
}

class HelperProbe final : public FilesystemProbe {
 public:
  HelperProbe(std::string helperPath, std::chrono::milliseconds limit,
              std::chrono::milliseconds budget)
      : helperPath_(std::move(helperPath)), limit_(limit), budget_(budget) {}

  std::optional<FilesystemFacts> Probe(const std::string& device, const std::string& mountPoint,
                                       std::stop_token stop) override {
    if (budget_ <= sdk::AwakeClock::Duration::zero()) return {};
    const auto start = clock_.Look();
    auto facts = Ask(device, mountPoint, stop);
    budget_ -= clock_.Look() - start;
    return facts;
  }

 private:
  std::optional<FilesystemFacts> Ask(const std::string& device, const std::string& mountPoint,
                                     const std::stop_token& stop) {
    ProbeMessage question;
    if (!Put(question.device, device) || !Put(question.mountPoint, mountPoint)) return {};
    int error = 0;
    if (!helper_) helper_ = HelperProcess::Start(helperPath_, error);
    if (!helper_ || !helper_->Send(&question, sizeof(question))) return GiveUp();
    ProbedMessage answer;
    if (!Await(answer, stop)) return GiveUp();
    FilesystemFacts facts{Get(answer.tableType), Get(answer.fileSystem), Get(answer.label), {}};
    if (answer.hasUse != 0) facts.use = {answer.usedBytes, answer.freeBytes};
    return facts;
  }

  bool Await(ProbedMessage& answer, const std::stop_token& stop) {
    const auto deadline = clock_.Look() + std::min<sdk::AwakeClock::Duration>(limit_, budget_);
    for (sdk::AwakeClock::Duration now{}; now < deadline && !stop.stop_requested();) {
      now = clock_.Look();
      std::size_t size = 0;
      const auto receipt = helper_->Receive(&answer, sizeof(answer), size, kStopPoll);
      if (receipt == HelperProcess::Receipt::kNothing) continue;
      return receipt == HelperProcess::Receipt::kMessage && size == sizeof(answer) &&
             answer.head.kind == MessageKind::kProbed;
    }
    return false;
  }

  std::optional<FilesystemFacts> GiveUp() {
    helper_.reset();
    return {};
  }

  std::string helperPath_;
  std::chrono::milliseconds limit_;
  sdk::AwakeClock::Duration budget_;  // what is left of it
  sdk::AwakeClock clock_;
  std::unique_ptr<HelperProcess> helper_;
};

}  // namespace

std::unique_ptr<FilesystemProbe> MakeFilesystemProbe(std::string helperPath,
                                                     std::chrono::milliseconds limit,
                                                     std::chrono::milliseconds budget) {
  return std::make_unique<HelperProbe>(std::move(helperPath), limit, budget);
}

}  // namespace orvan::machine

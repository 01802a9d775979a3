#include "frontend/cli.h"

#include <SDL2/SDL.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_console.h"
#include "boundary/hostlayer_semaphore.h"
#include "boundary/hostlayer_signal_handler.h"
#include "boundary/orvan_service.h"
#include "boundary/orvan_service_version.h"
#include "frontend/listings.h"
#include "frontend/message_keys.h"
#include "frontend/system_event_handlers.h"
#include "frontend/thread_completion.h"
#include "frontend/thread_manager.h"
#include "system/process_state.h"
#include "system/standard_error.h"
#include "system/storage_sender.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/key_format.h"
#include "views/orvan_stdio.h"

namespace {

constexpr std::uint32_t kUtf8CodePage = 65001;

struct CodeRank {
  std::int32_t code;
  int rank;
};

// MergeResult: how much a new code weighs, and how firmly an old one sits. Codes that are not
// listed weigh 0, and as an old value they always give way.
constexpr std::array kMergeWeights{CodeRank{kResultNoModule, 5}, CodeRank{kResultNoDevice, 4},
                                   CodeRank{kResultNothingToRun, 3}, CodeRank{33, 2},
                                   CodeRank{kResultNoTool, 1}};
constexpr std::array kMergeRanks{CodeRank{kResultPassed, 7}, CodeRank{kResultFailed, 10},
                                 CodeRank{kResultWarning, 9}, CodeRank{kResultNotApplicable, 5},
                                 CodeRank{kResultCanceled, 8}};

// FoldStatus: the rank of a test's status and the code it stands for. A status that is not listed
// changes nothing.
struct StatusRow {
  TestStatus status;
  int rank;
  std::int32_t code;
};
constexpr std::array kStatusRows{StatusRow{kTestPassed, 3, kResultPassed},
                                 StatusRow{kTestFailed, 6, kResultFailed},
                                 StatusRow{kTestNotApplicable, 1, kResultNotApplicable},
                                 StatusRow{kTestCanceled, 4, kResultCanceled},
                                 StatusRow{kTestWarning, 5, kResultWarning},
                                 StatusRow{kTestInvalid, 2, kResultInvalid}};

template <typename Table>
int RankOf(const Table& table, std::int32_t code) {
  const auto row = std::find_if(table.begin(), table.end(),
                                [code](const auto& entry) { return entry.code == code; });
  return row == table.end() ? 0 : row->rank;
}

// kResultNone, or kResultHostFailed when the service has no thread to run on.
std::int32_t StartService() {
  ThreadManager& manager = ThreadManager::Instance();
  PublishService(manager.Service());
  if (manager.StartError() == 0) return kResultNone;
  tarvex::TellOnStandardError(std::string(kTextNoServiceThread) +
                              std::strerror(manager.StartError()) + kTextNoThreadHelp);
  return kResultHostFailed;
}

}  // namespace

Cli::Cli(HostSystemEvents* events) : systemEvents(events) {
  ProcessState& state = GetProcessState();
  state.abort.signalPassed = false;
  state.abort.abortRequested = false;
  state.semaphore = GetNewSemaphore();
  state.semaphore->Init(0, 1);
  signalHandler = get_signal_handler();
  signalHandler->SetHandler(&OnSignal);
  result = StartService();
  threadStatus = std::make_unique<ThreadCompletion>();
  stringHandler = get_string_handler();
  timeHandler = get_time_handler();
  numberHandler = get_number_handler();
  timer = get_timer();
  groupId = std::time(nullptr);
  productVersion = std::make_unique<ProductVersion>(5, 0, 0, 0);
  state.cli = this;
  LoadStorageSender();
  SDL_InitSubSystem(SDL_INIT_AUDIO);
  // The console stream writes UTF-8 whatever the locale, so there is nothing to switch.
  savedOutputCodePage = kUtf8CodePage;
}

Cli::~Cli() {
  view.reset();
  threadStatus.reset();
  suiteListener.reset();
  testListener.reset();
  eventQueue.reset();
  productVersion.reset();
  ProcessState& state = GetProcessState();
  PublishService(nullptr);
  ReleaseSystemEvents();
  ThreadManager::Instance().Stop();
  ThreadManager::Destroy();
  signalHandler->RemoveHandler(&OnSignal);
  SDL_Quit();
  ReleaseSemaphoreInstance(state.semaphore);
  state.semaphore = nullptr;
  state.cli = nullptr;
}

std::int32_t Cli::ExitStatus() {
  if (result == kResultNone) result = kResultPassed;
  return result;
}

void Cli::MergeResult(std::int32_t code) {
  if (code == kResultNone) result = code;
  if (RankOf(kMergeRanks, result) <= RankOf(kMergeWeights, code)) result = code;
}

void Cli::FoldStatus(TestStatus status) {
  const auto* row = std::find_if(kStatusRows.begin(), kStatusRows.end(),
                                 [status](const auto& entry) { return entry.status == status; });
  if (row == kStatusRows.end()) return;
  if (row->rank > RankOf(kStatusRows, result)) result = row->code;
}

void Cli::AddWarning(const std::string& text) {
  if (std::find(warnings.begin(), warnings.end(), text) == warnings.end()) {
    warnings.push_back(text);
  }
}

std::string Cli::ApplicationName() const {
  return tarvex::FormatKey(kKeyApplicationName, true, true, true) + " " + ApplicationVersion();
}

std::string Cli::ApplicationVersion() const {
  return tarvex::VersionText(*this, *productVersion);
}

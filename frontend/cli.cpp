#include "frontend/cli.h"

#include <SDL2/SDL.h>

#include <algorithm>
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
#include "system/key_format.h"
#include "system/process_state.h"
#include "system/standard_error.h"
#include "system/storage_sender.h"
#include "system/text_conversion.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"
#include "views/orvan_stdio.h"

namespace {

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

Cli::Cli(HostSystemEvents* events, tarvex::ConsoleStream& console)
    : systemEvents(events), console_(console) {
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
  productVersion = std::make_unique<ProductVersion>(TARVEX_VERSION_PARTS);
  state.cli = this;
  LoadStorageSender();
  SDL_InitSubSystem(SDL_INIT_AUDIO);
  // The console stream writes UTF-8 whatever the locale, so there is nothing to switch.
  savedOutputCodePage = kCodePageUtf8;
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
  if (code == kResultNone || MayReplace(result, code)) result = code;
}

void Cli::FoldStatus(TestStatus status) {
  const tarvex::TestStatusRow* row = tarvex::FindStatus(status);
  if (row != nullptr && MayReplace(result, *row)) result = row->exitCode;
}

void Cli::AddWarning(const std::string& text) {
  if (std::find(warnings.begin(), warnings.end(), text) == warnings.end()) warnings.push_back(text);
}

std::string Cli::ApplicationName() const {
  return tarvex::FormatKey(kKeyApplicationName, true, true, true) + " " + ApplicationVersion();
}

std::string Cli::ApplicationVersion() const {
  return tarvex::VersionText(*this, *productVersion);
}

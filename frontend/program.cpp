#include "frontend/program.h"

#include <algorithm>
#include <clocale>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_app_mutex.h"
#include "boundary/hostlayer_user_account.h"
#include "boundary/orvan_service_errors.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/result_codes.h"
#include "frontend/system_event_handlers.h"
#include "os/keep_awake.h"
#include "os/process_start.h"
#include "system/process_state.h"
#include "system/standard_error.h"
#include "system/timer.h"
#include "views/console_stream.h"

namespace {

// Time for the parent of a background instance to leave before the single-instance check.
constexpr std::uint32_t kParentLeavesMs = 1000;

HostSystemEvents* SystemEventsOnce() {
  static HostSystemEvents* const events = GetSystemEvents();
  return events;
}

void PrintOnConsole(tarvex::ConsoleStream& console, const char* text) {
  tarvex::WriteWidened(console, text);
  tarvex::EndLine(console);
}

// 0, or the exit status that ends the program.
int CheckPrivileges(tarvex::ConsoleStream& console) {
  HostUserAccount* account = CreatUserAccountInstance();
  if (account == nullptr) return kResultHostFailed;
  const bool enough = account->HasPrivileges();
  if (!enough) PrintOnConsole(console, kTextNoPrivileges);
  ReleaseUserAccountInstance(account);
  return enough ? 0 : kResultNoPrivileges;
}

void AwaitParent(int argc, char** argv) {
  if (std::find(argv, argv + argc, std::string_view(kBackgroundMarker)) != argv + argc) {
    get_timer()->Sleep(kParentLeavesMs);
  }
}

// Takes the single-instance lock for the life of the process. 0, or the exit status.
int TakeInstanceLock(tarvex::ConsoleStream& console) {
  HostAppMutex* mutex = get_app_mutex();
  if (mutex == nullptr) return kResultHostFailed;
  if (!mutex->IsAlreadyRunning()) {
    GetProcessState().instanceLock = mutex;
    return 0;
  }
  PrintOnConsole(console, kTextAlreadyRunning);
  release_app_mutex(mutex);
  return kResultAlreadyRunning;
}

// Runs the course; false when an InvalidAppKey ended it.
bool RunCourse(Cli& cli, void (Cli::*course)()) {
  try {
    (cli.*course)();
    return true;
  } catch (const InvalidAppKey&) {
    cli.keptException = std::current_exception();
    return false;
  }
}

// Picks one course by the flags, in this order, and returns the exit status.
int Dispatch(Cli& cli, int argc, char** argv) {
  if (cli.Parse(argc, argv) == 0) {
    if (Has(cli.flags, CLI_FLAG_BACKGROUND)) return 0;
    if (Has(cli.flags, CLI_FLAG_TOOL)) {
      cli.HandOverToTool(argc, argv);
      return 0;
    }
    if (Has(cli.flags, CLI_FLAG_INFORMATION)) {
      cli.ShowInformation();
    } else if (Has(cli.flags, CLI_FLAG_RUN_ALL)) {
      if (!RunCourse(cli, &Cli::RunAll)) return cli.ExitStatus();
    } else if (Has(cli.flags, CLI_FLAG_DIAGNOSTIC)) {
      if (!RunCourse(cli, &Cli::RunSelection)) return cli.ExitStatus();
    }
  }
  constexpr std::uint32_t kReported = CLI_FLAG_OUTPUT_FILE | CLI_FLAG_BACKGROUND_INSTANCE;
  if (HasAll(cli.flags, kReported)) cli.WriteExecutionStatus();
  return cli.ExitStatus();
}

// Looks at the end, however the run ended, whether all that was printed found room.
struct OutputCheck {
  explicit OutputCheck(tarvex::ConsoleStream& stream) : console(stream) {}
  ~OutputCheck() {
    const int error = console.LostOutputError();
    if (error == 0) return;
    tarvex::TellOnStandardError(std::string(kTextLostOutput) + std::strerror(error));
  }
  OutputCheck(const OutputCheck&) = delete;
  OutputCheck& operator=(const OutputCheck&) = delete;

  tarvex::ConsoleStream& console;
};

}  // namespace

int RunProgram(int argc, char** argv, tarvex::ConsoleStream& console) {
  tarvex::FillStandardDescriptors();
  tarvex::SurviveFailedWrites();
  tarvex::KeepEndsOfChildren();
  tarvex::PrepareEnvironment();
  const OutputCheck outputCheck(console);
  const tarvex::KeepAwake keepAwake;
  HostSystemEvents* events = SystemEventsOnce();
  RegisterSystemEventHandlers(events);
  std::setlocale(LC_ALL, "");
  if (const int status = CheckPrivileges(console); status != 0) return status;
  AwaitParent(argc, argv);
  if (const int status = TakeInstanceLock(console); status != 0) return status;
  get_console();
  Cli cli(events, console);
  return Dispatch(cli, argc, argv);
}

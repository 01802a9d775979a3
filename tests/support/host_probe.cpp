// A program around the host layer for process_test.py and system_events_test.py: what only whole
// processes can show. It writes a line for each thing that happens and obeys lines of its input.

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <iostream>
#include <mutex>
#include <string>

#include "host/app_mutex.h"
#include "host/signal_handler.h"
#include "host/system_events.h"

namespace {

void Say(const std::string& line) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  std::cout << line << std::endl;
}

// The next line of the input; false at its end. Byte by byte, and each waited for by poll(): the
// thread checker holds a signal back while its thread is in a read that goes on after it.
bool NextLine(std::string& line) {
  line.clear();
  while (true) {
    pollfd waiting{STDIN_FILENO, POLLIN, 0};
    if (::poll(&waiting, 1, -1) < 0) continue;
    char byte = 0;
    if (::read(STDIN_FILENO, &byte, 1) != 1) return false;
    if (byte == '\n') return true;
    line += byte;
  }
}

// Waits for "go", then says whether the lock was had, and keeps it until the input ends.
int Lock(const std::string& folder) {
  std::string line;
  NextLine(line);
  const auto mutex = tarvex::AppMutex::Open(folder);
  if (mutex == nullptr) {
    Say("failed");
    return 1;
  }
  const bool isRunning = mutex->IsAlreadyRunning();
  Say(isRunning ? "running" : "taken");
  while (!isRunning && NextLine(line)) {
  }
  return 0;
}

bool OnSignal(int signal, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  Say("signal " + std::to_string(signal));
  return true;
}

int Signals() {
  tarvex::SignalHandler handler;
  handler.SetHandler(OnSignal);
  Say("ready");
  std::string line;
  while (NextLine(line)) {
  }
  return 0;
}

// Handlers return while it is open.
std::atomic<bool> isOpen{true};

template <std::uint32_t kMessage, std::uint32_t kParameter>
void OnEvent(std::intptr_t* result) {
  const std::string name = std::to_string(kMessage) + " " + std::to_string(kParameter);
  Say("event " + name);
  *result = 1;
  isOpen.wait(false);
  Say("done " + name);
}

template <std::uint32_t kMessage, std::uint32_t kParameter>
void Register(HostSystemEvents& events) {
  events.RegisterHandler(OnEvent<kMessage, kParameter>, kMessage, kParameter);
}

// "hold" keeps the handlers from returning, "free" lets them go on. Ends by exit() with "exit",
// also while a handler is held.
int Events(const std::string& busSocket) {
  static tarvex::SystemEvents events(busSocket);
  Register<kMessagePower, kPowerSuspend>(events);
  Register<kMessagePower, kPowerResume>(events);
  Register<kMessageSession, kSessionConsoleGone>(events);
  Register<kMessageEndSession, kEndSessionLogOff>(events);
  Register<kMessageSession, kSessionLocked>(events);
  Register<kMessageEndSession, kEndSessionShutdown>(events);
  Say("ready");
  std::string line;
  while (NextLine(line) && line != "exit") {
    isOpen = line != "hold";
    isOpen.notify_all();
    Say("is " + line);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string role = argc > 1 ? argv[1] : "";
  if (role == "lock" && argc == 3) return Lock(argv[2]);
  if (role == "signals") return Signals();
  if (role == "events" && argc == 3) return Events(argv[2]);
  std::cerr << "usage: host_probe lock FOLDER | signals | events BUS_SOCKET\n";
  return 2;
}

#include "host/login_connection.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <utility>

#include "boundary/hostlayer_system_events.h"
#include "os/system_bus.h"

namespace tarvex {
namespace {

constexpr char kManager[] = "org.freedesktop.login1";
constexpr char kManagerPath[] = "/org/freedesktop/login1";
constexpr char kManagerInterface[] = "org.freedesktop.login1.Manager";
constexpr char kSessionInterface[] = "org.freedesktop.login1.Session";
constexpr char kPropertiesInterface[] = "org.freedesktop.DBus.Properties";
constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kClosing[] = "closing";

LoginConnection& Self(void* self) {
  return *static_cast<LoginConnection*>(self);
}

bool IsError(sd_bus_message* message) {
  return sd_bus_message_is_method_error(message, nullptr);
}

bool ReadProperty(sd_bus_message* message, SessionFacts& facts) {
  const char* name = nullptr;
  if (sd_bus_message_read(message, "s", &name) < 0) return false;
  const std::string property = name;
  int truth = 0;
  std::uint32_t number = 0;
  const char* text = nullptr;
  if (property == "Active") {
    if (sd_bus_message_read(message, "v", "b", &truth) < 0) return false;
    facts.active = truth != 0;
  } else if (property == "State") {
    if (sd_bus_message_read(message, "v", "s", &text) < 0) return false;
    facts.state = text;
  } else if (property == "User") {
    if (sd_bus_message_read(message, "v", "(uo)", &number, &text) < 0) return false;
    facts.user = number;
  } else if (sd_bus_message_skip(message, "v") < 0) {
    return false;
  }
  return true;
}

// Reads a{sv}. What can't be read is left out, with all that follows it.
SessionFacts ReadFacts(sd_bus_message* message) {
  SessionFacts facts;
  if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) return facts;
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    if (!ReadProperty(message, facts) || sd_bus_message_exit_container(message) < 0) return facts;
  }
  sd_bus_message_exit_container(message);
  return facts;
}

// For poll(): until the bus wants to be called again; -1 without end.
int MillisecondsUntil(std::uint64_t monotonicMicroseconds) {
  if (monotonicMicroseconds == UINT64_MAX) return -1;
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t current = static_cast<std::uint64_t>(now.tv_sec) * 1000000U +
                                static_cast<std::uint64_t>(now.tv_nsec) / 1000U;
  if (monotonicMicroseconds <= current) return 0;
  const std::uint64_t left = (monotonicMicroseconds - current + 999U) / 1000U;
  return static_cast<int>(std::min<std::uint64_t>(left, INT_MAX));
}

}  // namespace

LoginConnection::End LoginConnection::Serve(int stopDescriptor) {
  return Open() ? ProcessUntil(stopDescriptor) : End::kLost;
}

bool LoginConnection::Open() {
  bus_.reset(OpenSystemBus(busSocket_));
  if (bus_ == nullptr) return false;
  // Asked for last: the answer comes when the matches are in force.
  return WatchManager() &&
         sd_bus_call_method_async(bus_.get(), nullptr, kBus, kBusPath, kBus, "GetNameOwner",
                                  OnManagerName, this, "s", kManager) >= 0;
}

bool LoginConnection::WatchManager() {
  constexpr char kNameRule[] =
      "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
      "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='org.freedesktop.login1'";
  if (sd_bus_add_match_async(bus_.get(), nullptr, kNameRule, OnManagerNameChanged, nullptr, this) <
      0) {
    return false;
  }
  constexpr std::array<std::pair<const char*, sd_bus_message_handler_t>, 4> kSignals{{
      {"PrepareForSleep", OnSleep},
      {"PrepareForShutdown", OnShutdown},
      {"SessionRemoved", OnSessionRemoved},
      {"UserRemoved", OnUserRemoved},
  }};
  return std::all_of(kSignals.begin(), kSignals.end(), [this](const auto& row) {
    return WatchSignal(kManagerPath, kManagerInterface, row.first, row.second, nullptr);
  });
}

bool LoginConnection::WatchSignal(const char* path, const char* interface, const char* member,
                                  sd_bus_message_handler_t handler,
                                  std::unique_ptr<sd_bus_slot, SlotUnref>* slot) {
  sd_bus_slot* made = nullptr;
  const int result =
      sd_bus_match_signal_async(bus_.get(), slot == nullptr ? nullptr : &made, kManager, path,
                                interface, member, handler, nullptr, this);
  if (slot != nullptr) slot->reset(made);
  return result >= 0;
}

LoginConnection::End LoginConnection::ProcessUntil(int stopDescriptor) {
  while (true) {
    const int done = sd_bus_process(bus_.get(), nullptr);
    if (done < 0) return End::kLost;
    const int wait = WaitForWork(stopDescriptor, done == 0);
    if (wait < 0) return End::kLost;
    if (wait > 0) return End::kStopped;
  }
}

int LoginConnection::WaitForWork(int stopDescriptor, bool mayWait) {
  const int events = sd_bus_get_events(bus_.get());
  std::uint64_t deadline = 0;
  if (events < 0 || sd_bus_get_timeout(bus_.get(), &deadline) < 0) return -1;
  std::array<pollfd, 2> waiting{{
      {stopDescriptor, POLLIN, 0},
      {sd_bus_get_fd(bus_.get()), static_cast<short>(events), 0},
  }};
  const int timeout = mayWait ? MillisecondsUntil(deadline) : 0;
  const int ready = ::poll(waiting.data(), waiting.size(), timeout);
  if (ready < 0) return errno == EINTR ? 0 : -1;
  return waiting[0].revents != 0 ? 1 : 0;
}

void LoginConnection::TakeInhibitor() {
  sd_bus_call_method_async(bus_.get(), nullptr, kManager, kManagerPath, kManagerInterface,
                           "Inhibit", OnInhibitor, this, "ssss", "shutdown", "Tarvex Diagnostics",
                           "Diagnostics are running", "delay");
}

void LoginConnection::FindSession() {
  sd_bus_call_method_async(bus_.get(), nullptr, kManager, kManagerPath, kManagerInterface,
                           "GetSessionByPID", OnSession, this, "u",
                           static_cast<std::uint32_t>(::getpid()));
}

void LoginConnection::WatchSession(const char* path) {
  sessionPath_ = path;
  WatchSignal(path, kPropertiesInterface, "PropertiesChanged", OnSessionChanged, &sessionChanges_);
  WatchSignal(path, kSessionInterface, "Lock", OnSessionLocked, &sessionLocks_);
  AskForSession();
}

void LoginConnection::AskForSession() {
  sd_bus_call_method_async(bus_.get(), nullptr, kManager, sessionPath_.c_str(),
                           kPropertiesInterface, "GetAll", OnSessionProperties, this, "s",
                           kSessionInterface);
}

void LoginConnection::SetManager(const std::string& uniqueName) {
  managerName_ = uniqueName;
  sessionPath_.clear();
  session_ = SessionFacts();
  sessionChanges_.reset();
  sessionLocks_.reset();
  if (uniqueName.empty()) return;
  TakeInhibitor();
  FindSession();
}

// The bus lets anybody send signals of any name to this process; the sender can't be forged.
bool LoginConnection::IsFromManager(sd_bus_message* message) const {
  const char* sender = sd_bus_message_get_sender(message);
  return sender != nullptr && !managerName_.empty() && managerName_ == sender;
}

void LoginConnection::Learn(SessionFacts facts, bool isChange) {
  const SessionFacts before = session_;
  if (facts.user) session_.user = facts.user;
  if (facts.active) session_.active = facts.active;
  if (facts.state) session_.state = facts.state;
  if (facts.active == false && before.active.value_or(isChange)) {
    sink_(kMessageSession, kSessionConsoleGone);
    // The login manager does not announce every change of the state.
    if (isChange && !facts.state) AskForSession();
  }
  const bool wasOpen = before.state ? *before.state != kClosing : isChange;
  if (facts.state == kClosing && wasOpen) sink_(kMessageEndSession, kEndSessionLogOff);
}

// Whose log-off concerns this process: the session's user. Outside of sessions its own user; not
// so root, whose services outlive its logins.
std::optional<std::uint32_t> LoginConnection::WatchedUser() const {
  if (session_.user) return session_.user;
  const uid_t user = ::getuid();
  if (user == 0) return std::nullopt;
  return user;
}

int LoginConnection::OnManagerName(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  const bool isAbsent = sd_bus_message_is_method_error(message, SD_BUS_ERROR_NAME_HAS_NO_OWNER);
  const char* owner = nullptr;
  if (isAbsent) {
    Self(self).established_ = true;
  } else if (!IsError(message) && sd_bus_message_read(message, "s", &owner) >= 0) {
    Self(self).established_ = true;
    Self(self).SetManager(owner);
  }
  return 0;
}

int LoginConnection::OnManagerNameChanged(sd_bus_message* message, void* self,
                                          sd_bus_error* /*error*/) {
  const char* sender = sd_bus_message_get_sender(message);
  const char* name = nullptr;
  const char* before = nullptr;
  const char* owner = nullptr;
  if (sender != nullptr && std::string(sender) == kBus &&
      sd_bus_message_read(message, "sss", &name, &before, &owner) >= 0) {
    Self(self).SetManager(owner);
  }
  return 0;
}

int LoginConnection::OnInhibitor(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  int descriptor = -1;
  if (!IsError(message) && !Self(self).shuttingDown_ &&
      sd_bus_message_read(message, "h", &descriptor) >= 0) {
    // The message keeps its own.
    Self(self).inhibitor_.Reset(::fcntl(descriptor, F_DUPFD_CLOEXEC, 3));
  }
  return 0;
}

int LoginConnection::OnSession(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  const char* path = nullptr;
  if (!IsError(message) && sd_bus_message_read(message, "o", &path) >= 0) {
    Self(self).WatchSession(path);
  }
  return 0;
}

int LoginConnection::OnSessionProperties(sd_bus_message* message, void* self,
                                         sd_bus_error* /*error*/) {
  if (!IsError(message)) Self(self).Learn(ReadFacts(message), false);
  return 0;
}

int LoginConnection::OnSessionChanged(sd_bus_message* message, void* self,
                                      sd_bus_error* /*error*/) {
  const char* interface = nullptr;
  if (Self(self).IsFromManager(message) && sd_bus_message_read(message, "s", &interface) >= 0 &&
      std::string(interface) == kSessionInterface) {
    Self(self).Learn(ReadFacts(message), true);
  }
  return 0;
}

int LoginConnection::OnSessionLocked(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  if (Self(self).IsFromManager(message)) Self(self).sink_(kMessageSession, kSessionLocked);
  return 0;
}

int LoginConnection::OnSessionRemoved(sd_bus_message* message, void* self,
                                      sd_bus_error* /*error*/) {
  const char* name = nullptr;
  const char* path = nullptr;
  if (Self(self).IsFromManager(message) && sd_bus_message_read(message, "so", &name, &path) >= 0 &&
      Self(self).sessionPath_ == path) {
    Self(self).sink_(kMessageSession, kSessionConsoleGone);
  }
  return 0;
}

int LoginConnection::OnUserRemoved(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  std::uint32_t user = 0;
  const char* path = nullptr;
  if (Self(self).IsFromManager(message) && sd_bus_message_read(message, "uo", &user, &path) >= 0 &&
      Self(self).WatchedUser() == user) {
    Self(self).sink_(kMessageEndSession, kEndSessionLogOff);
  }
  return 0;
}

int LoginConnection::OnSleep(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  int begins = 0;
  if (Self(self).IsFromManager(message) && sd_bus_message_read(message, "b", &begins) >= 0) {
    Self(self).sink_(kMessagePower, begins != 0 ? kPowerSuspend : kPowerResume);
  }
  return 0;
}

int LoginConnection::OnShutdown(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
  int begins = 0;
  if (!Self(self).IsFromManager(message) || sd_bus_message_read(message, "b", &begins) < 0) {
    return 0;
  }
  Self(self).shuttingDown_ = begins != 0;
  if (begins != 0) {
    Self(self).sink_(kMessageEndSession, kEndSessionShutdown);
    Self(self).inhibitor_.Reset();
  } else {
    Self(self).TakeInhibitor();
  }
  return 0;
}

}  // namespace tarvex

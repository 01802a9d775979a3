#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/login_watch.h"
#include "os/descriptor.h"

namespace tarvex {

struct BusUnref {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct SlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};

// What is known of the session in which this process runs. Empty: not known.
struct SessionFacts {
  std::optional<bool> active;
  std::optional<std::string> state;
  std::optional<std::uint32_t> user;  // whose session it is
};

// One connection to the system bus and what it tells of the login manager. No call waits for an
// answer: all that happens comes in through Serve. One thread.
// Source: org.freedesktop.login1(5).
class LoginConnection {
 public:
  enum class End { kStopped, kLost };

  LoginConnection(const std::string& busSocket, const SystemEventSink& sink)
      : busSocket_(busSocket), sink_(sink) {}
  LoginConnection(const LoginConnection&) = delete;
  LoginConnection& operator=(const LoginConnection&) = delete;

  // Connects, and passes events on until the descriptor is readable or the bus is lost.
  End Serve(int stopDescriptor);
  // The bus has answered.
  bool WasEstablished() const { return established_; }

 private:
  bool Open();
  bool WatchManager();
  bool WatchSignal(const char* path, const char* interface, const char* member,
                   sd_bus_message_handler_t handler, std::unique_ptr<sd_bus_slot, SlotUnref>* slot);
  End ProcessUntil(int stopDescriptor);
  // 1 when it is to stop, 0 when the bus may have work, -1 when it is lost.
  int WaitForWork(int stopDescriptor, bool mayWait);

  void TakeInhibitor();
  void FindSession();
  void WatchSession(const char* path);
  void SetManager(const std::string& uniqueName);
  bool IsFromManager(sd_bus_message* message) const;
  void AskForSession();
  // Takes over what is known now and passes on what happened. `isChange`: the login manager says
  // that these facts have just changed; otherwise only a difference from known facts counts.
  void Learn(SessionFacts facts, bool isChange);
  std::optional<std::uint32_t> WatchedUser() const;

  // Handlers of messages; `self` is the connection.
  static int OnManagerName(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnManagerNameChanged(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnInhibitor(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnSession(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnSessionProperties(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnSessionChanged(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnSessionLocked(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnSessionRemoved(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnUserRemoved(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnSleep(sd_bus_message* message, void* self, sd_bus_error* error);
  static int OnShutdown(sd_bus_message* message, void* self, sd_bus_error* error);

  const std::string& busSocket_;
  const SystemEventSink& sink_;
  std::unique_ptr<sd_bus, BusUnref> bus_;
  std::string managerName_;  // unique name of the login manager; empty while there is none
  std::string sessionPath_;  // empty while this process is in no session
  SessionFacts session_;
  std::unique_ptr<sd_bus_slot, SlotUnref> sessionChanges_;
  std::unique_ptr<sd_bus_slot, SlotUnref> sessionLocks_;
  Descriptor inhibitor_;
  bool shuttingDown_ = false;
  bool established_ = false;
};

}  // namespace tarvex

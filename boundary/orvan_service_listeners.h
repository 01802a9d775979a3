#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "boundary/orvan_service_status.h"

class DiagDevice;
class DiagDiagnostic;
class DiagModule;
class DiagTest;
class DiagTool;

// Through these the service reports a run. It may call them on any of its threads. Operations
// named ReservedN keep the places of reports that the front end does not listen to.
namespace orvan_service {

class SuiteListenerView {
 public:
  virtual bool OnSuiteStart() { return true; }
  virtual void OnSuiteEnd() {}
  virtual bool OnDiagnosticStart(DiagDiagnostic* /*diagnostic*/) { return true; }
  virtual void OnDiagnosticEnd() {}
  virtual void Reserved4() {}
  virtual void Reserved5() {}
  virtual void Reserved6() {}
  virtual void Reserved7() {}
  virtual void Reserved8() {}
  virtual void Reserved9() {}
  virtual void Reserved10() {}
  virtual void Reserved11() {}
  virtual void Reserved12() {}
  virtual void Reserved13() {}
  virtual void Reserved14() {}
  virtual bool OnTestStart(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/,
                           DiagTest* /*test*/) {
    return true;
  }
  virtual void OnTestEnd(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/, DiagTest* /*test*/,
                         TestStatus /*status*/) {}
  virtual bool Reserved17() { return true; }
  virtual bool OnDeviceStart() { return true; }
  virtual void OnDeviceProgress(std::uint32_t /*percent*/, std::string /*text*/) {}
  virtual void OnDeviceEnd(DiagModule* /*module*/, DiagDevice* /*device*/, std::string /*text*/) {}
  virtual void OnSuiteMessage(std::string /*text*/) {}

 protected:
  ~SuiteListenerView() = default;
};

// The answer record that a test passes when it asks the operator something.
struct TestReply {
  std::uint32_t reply = 0;
};

class TestListenerView {
 public:
  // `percent` from 0 to 100; `message` is a message key and may be empty.
  virtual void OnTestReport(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/,
                            DiagTest* /*test*/, std::int32_t /*percent*/, std::string /*message*/) {
  }
  virtual void ClearReply(TestReply* /*record*/) {}
  virtual void Reserved2() {}
  virtual bool WantsInteraction() { return false; }
  virtual std::int32_t GetPercent() { return -1; }
  virtual std::string GetMessage() { return {}; }
  virtual void Reserved6() {}
  virtual void Reserved7() {}
  virtual void ClearMessage() {}

 protected:
  ~TestListenerView() = default;
};

// The record of a tool's question; its third word is the answer.
struct ToolReply {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::uint32_t reply = 0;
};

// Owns an ordered map from event name to handler. Handlers are set before the tool runs and only
// read while it does.
class ToolListenerView {
 public:
  using Handler = std::function<bool(DiagTool* tool, const std::string& event)>;

  virtual void ClearReply(ToolReply* record) = 0;
  virtual void RegisterHandlers() = 0;

  // Sets the handler of an event name, in place of one that is there.
  void SetHandler(const std::string& event, Handler handler) {
    handlers_.insert_or_assign(event, std::move(handler));
  }
  // Calls the handler of the event; false when there is none.
  bool Dispatch(DiagTool* tool, const std::string& event) const {
    const auto found = handlers_.find(event);
    return found != handlers_.end() && found->second && found->second(tool, event);
  }

 protected:
  ~ToolListenerView() = default;

 private:
  std::map<std::string, Handler> handlers_;
};

}  // namespace orvan_service

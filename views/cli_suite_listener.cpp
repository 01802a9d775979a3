#include "views/cli_suite_listener.h"

#include <utility>

#include "boundary/hostlayer.h"
#include "boundary/orvan_service_objects.h"
#include "views/cli_event_queue.h"

CliSuiteListener::CliSuiteListener() : timer_(get_timer()) {
  for (Tick* tick :
       {&diagnosticStart_, &diagnosticEnd_, &testStart_, &testEnd_, &deviceStart_, &deviceEnd_}) {
    *tick = timer_->Now();
  }
}

bool CliSuiteListener::OnSuiteStart() {
  testFinished_ = false;
  diagnosticFinished_ = false;
  deviceFinished_ = false;
  deviceResult_.clear();
  testName_.clear();
  diagnosticName_.clear();
  for (Tick* tick : {&diagnosticStart_, &diagnosticEnd_, &testStart_, &testEnd_, &deviceStart_,
                     &deviceEnd_, &suiteStart_, &suiteEnd_}) {
    *tick = timer_->Now();
  }
  queue_->Push({kEventSuiteStart, {}});
  return true;
}

void CliSuiteListener::OnSuiteEnd() {
  suiteEnd_ = timer_->Now();
  // The main thread may destroy the listener as soon as this event is there.
  queue_->Push({kEventSuiteFinished, {}});
}

bool CliSuiteListener::OnDiagnosticStart(DiagDiagnostic* diagnostic) {
  queue_->diagnosticGate.Wait();
  if (diagnostic == nullptr) return false;
  DiagnosticStartRecord record;
  diagnostic->Name(record.name);
  diagnosticName_ = record.name;
  diagnosticFinished_ = false;
  testFinished_ = false;
  diagnosticStart_ = timer_->Now();
  queue_->Push({kEventDiagnosticStart, std::move(record)});
  queue_->startAcknowledge.Wait();
  return true;
}

void CliSuiteListener::OnDiagnosticEnd() {
  diagnosticFinished_ = true;
  diagnosticEnd_ = timer_->Now();
  diagnosticName_.clear();
  queue_->Push({kEventDiagnosticFinished, {}});
}

bool CliSuiteListener::OnTestStart(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/,
                                   DiagTest* test) {
  queue_->testGate.Wait();
  if (test == nullptr) return false;
  testFinished_ = false;
  testStart_ = timer_->Now();
  TestStartRecord record;
  test->Name(record.name);
  test->Key(record.key);
  testName_ = record.name;
  queue_->Push({kEventTestStart, std::move(record)});
  queue_->Push({kEventTestRunning, {}});
  return true;
}

void CliSuiteListener::OnTestEnd(DiagDevice* /*device*/, DiagDiagnostic* /*diagnostic*/,
                                 DiagTest* /*test*/, TestStatus status) {
  // Before the event exists, so that the main thread leaves its watch and takes the event.
  testFinished_ = true;
  testEnd_ = timer_->Now();
  lastStatus_ = status;
  testName_.clear();
  queue_->Push({kEventTestFinished, TestFinishedRecord{status, testStart_, testEnd_}});
}

bool CliSuiteListener::OnDeviceStart() {
  deviceFinished_ = false;
  deviceStart_ = timer_->Now();
  queue_->Push({kEventDeviceStart, {}});
  return true;
}

void CliSuiteListener::OnDeviceProgress(std::uint32_t /*percent*/, std::string /*text*/) {}

void CliSuiteListener::OnDeviceEnd(DiagModule* /*module*/, DiagDevice* /*device*/,
                                   std::string text) {
  deviceResult_ = text;
  deviceFinished_ = true;
  deviceEnd_ = timer_->Now();
  queue_->Push(
      {kEventDeviceFinished, DeviceFinishedRecord{std::move(text), deviceStart_, deviceEnd_}});
}

void CliSuiteListener::OnSuiteMessage(std::string /*text*/) {}

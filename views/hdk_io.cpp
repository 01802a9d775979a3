#include "views/hdk_io.h"

#include <cstdio>

#include "system/process_state.h"
#include "views/status_words.h"
#include "views/supervisor_input.h"

namespace {

constexpr int kSupervisorPatienceMs = 30000;

// Whole seconds, rounded, filled with zeros to five characters.
std::string SecondsField(double seconds) {
  // A double has at most 309 digits before its point.
  char text[320];
  std::snprintf(text, sizeof text, "%05.0f", seconds);
  return text;
}

std::string PercentField(int percent) {
  char text[16];
  std::snprintf(text, sizeof text, "%03d", percent);
  return text;
}

}  // namespace

HDKio::HDKio()
    : input_(&SupervisorInput::Get()), patience_([this] {
        return input_->IsAbort() ? tarvex::kEndingPatienceMs : kSupervisorPatienceMs;
      }) {}

HDKio::~HDKio() {
  input_->Stop();
}

ViewResult HDKio::Send(const std::string& line) {
  tarvex::WriteInLine(tarvex::ConsoleStream(), line);
  return EndPrint(true);
}

ViewResult HDKio::PrintField(std::string name, std::string value, bool newLine) {
  tarvex::WriteInLine(tarvex::ConsoleStream(), name + ":::" + value);
  return EndPrint(newLine);
}

ViewResult HDKio::BeginSuite(std::string /*suiteName*/, std::string moduleName) {
  return Send("BeginDiagSuite:::" + moduleName);
}

ViewResult HDKio::EndSuite(std::string resultText, double elapsedSeconds, bool failed) {
  return Send(std::string("EndDiagSuite:::") + (failed ? "000" : "001") + "|" + resultText + "|" +
              SecondsField(elapsedSeconds));
}

ViewResult HDKio::FinishExecutionBlock(std::string resultText) {
  return Send("FinishExecutionBlock:::" + resultText);
}

bool HDKio::IsAbortRequested() {
  return input_->IsAbort() || GetProcessState().abort.AbortFlag;
}

ViewResult HDKio::BeginTest(std::string /*name*/, DiagKey key) {
  lastPercent_ = -1;
  return Send("BeginDiag:::" + std::to_string(key.major & 0xFFFFU) + "." +
              std::to_string(key.minor) + "." + std::to_string(key.build & 0xFFFFFFFFU));
}

ViewResult HDKio::EndTest(TestStatus status, double elapsedSeconds) {
  lastPercent_ = -1;
  return Send(std::string("EndDiag:::") + tarvex::WordsOf(status).supervisorDigit + "|" +
              SecondsField(elapsedSeconds));
}

ViewResult HDKio::ShowTestProgress(int percent, double /*elapsedSeconds*/) {
  if (percent >= 0 && percent != lastPercent_) {
    lastPercent_ = percent;
    return Send("PrgDiag:::" + PercentField(percent));
  }
  tarvex::ConsoleStream().flush();
  return ConsoleResult(kViewStreamFailed);
}

ViewResult HDKio::ShowSuiteProgress(int percent, double /*elapsedSeconds*/) {
  return Send("PrgDiagSuite:::" + std::to_string(percent));
}

ViewResult HDKio::PrintSentence(std::string /*text*/, bool /*newLine*/) {
  return kViewOk;
}

ViewResult HDKio::PrintTitle(std::string /*text*/, bool /*newLine*/) {
  return kViewOk;
}

ViewResult HDKio::PrintRaw(std::string /*text*/, bool /*newLine*/) {
  return kViewOk;
}

ViewResult HDKio::PrintText(std::string /*text*/, bool /*newLine*/, bool /*format*/,
                            bool /*titleCase*/, bool /*capitalizeFirst*/) {
  return kViewOk;
}

ViewResult HDKio::PrintUnicode(std::string /*text*/, bool /*newLine*/) {
  return kViewOk;
}

ViewResult HDKio::PrintNewLine() {
  return kViewOk;
}

ViewResult HDKio::PrintSeparator() {
  return kViewOk;
}

ViewResult HDKio::BeginModule(std::string /*name*/) {
  return kViewOk;
}

ViewResult HDKio::EndModule() {
  return kViewOk;
}

ViewResult HDKio::BeginDiagnostic(std::string /*name*/) {
  return kViewOk;
}

ViewResult HDKio::EndDiagnostic() {
  return kViewOk;
}

ViewResult HDKio::ShowDeviceScan(std::string /*moduleName*/, bool /*finished*/) {
  return kViewOk;
}

void HDKio::SetQuiet(bool /*value*/) {}

int HDKio::Reserved() {
  return 0;
}

namespace tarvex {

const char* ParameterTypeName(std::int32_t type) {
  static constexpr const char* kNames[] = {"BOOLEAN", "TEXT", "INTEGER"};
  return type >= 0 && type < 3 ? kNames[type] : "UNKNOWN";
}

}  // namespace tarvex

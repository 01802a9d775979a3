#include "views/hdk_io.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "system/process_state.h"
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

// The digits of the statuses, from 0 on; any other has the last one.
char DigitOf(TestStatus status) {
  constexpr std::string_view kDigits = "1052435";
  return kDigits[std::min<std::size_t>(status, kDigits.size() - 1)];
}

std::string PercentField(int percent) {
  char text[16];
  std::snprintf(text, sizeof text, "%03d", percent);
  return text;
}

}  // namespace

HDKio::HDKio(tarvex::ConsoleStream& stream)
    : OrvanStdio(stream), input(&SupervisorInput::Get()), patience_(stream, [this] {
        return input->IsAbort() ? tarvex::kEndingPatienceMs : kSupervisorPatienceMs;
      }) {}

HDKio::~HDKio() {
  input->Stop();
}

ViewResult HDKio::Send(const std::string& line) {
  tarvex::WriteInLine(stream(), line);
  return EndPrint(true);
}

ViewResult HDKio::PrintField(std::string name, std::string value, bool newLine) {
  tarvex::WriteInLine(stream(), name + ":::" + value);
  return EndPrint(newLine);
}

ViewResult HDKio::BeginSuite(std::string /*suite*/, std::string module) {
  return Send("BeginDiagSuite:::" + module);
}

ViewResult HDKio::EndSuite(std::string resultText, double elapsedSeconds, bool failed) {
  return Send(std::string("EndDiagSuite:::") + (failed ? "000" : "001") + "|" + resultText + "|" +
              SecondsField(elapsedSeconds));
}

ViewResult HDKio::FinishExecutionBlock(std::string resultText) {
  return Send("FinishExecutionBlock:::" + resultText);
}

bool HDKio::IsAbortRequested() {
  return input->IsAbort() || GetProcessState().abort.AbortFlag;
}

ViewResult HDKio::BeginTest(std::string /*name*/, DiagKey key) {
  lastPercent = -1;
  return Send("BeginDiag:::" + std::to_string(key.major & 0xFFFFU) + "." +
              std::to_string(key.minor) + "." + std::to_string(key.build & 0xFFFFFFFFU));
}

ViewResult HDKio::EndTest(TestStatus status, double elapsedSeconds) {
  lastPercent = -1;
  return Send(std::string("EndDiag:::") + DigitOf(status) + "|" + SecondsField(elapsedSeconds));
}

ViewResult HDKio::ShowTestProgress(int percent, double /*elapsedSeconds*/) {
  if (percent >= 0 && percent != lastPercent) {
    lastPercent = percent;
    return Send("PrgDiag:::" + PercentField(percent));
  }
  stream().flush();
  return ConsoleResult(kViewStreamFailed);
}

ViewResult HDKio::ShowSuiteProgress(int percent, double /*elapsedSeconds*/) {
  return Send("PrgDiagSuite:::" + std::to_string(percent));
}

namespace tarvex {

const char* ParameterTypeName(std::int32_t type) {
  static constexpr const char* kNames[] = {"BOOLEAN", "TEXT", "INTEGER"};
  return type >= 0 && type < 3 ? kNames[type] : "UNKNOWN";
}

}  // namespace tarvex

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "service/log/log_artifacts.h"
#include "system/outside_text.h"
#include "system/standard_error.h"
#include "system/text_conversion.h"
#include "tests/support/console_capture.h"
#include "tests/support/steering_texts.h"
#include "tools/recover/rbs_cli_stdio_hdk.h"
#include "views/orvan_stdio.h"

namespace {

using tarvex::testing::SteeringIn;

constexpr std::string_view kLayout = "\b\t\n\r";

void Require(bool holds) {
  if (!holds) std::abort();
}

std::size_t LinesOf(const std::string& text) {
  std::size_t lines = 0;
  for (const char byte : text) lines += byte == '\n' ? 1 : 0;
  return lines;
}

// The console: nothing steers, and a text that came in as one of a module makes no line.
void ShowOnConsole(const std::string& raw) {
  tarvex::ConsoleCapture console;
  OrvanStdio view(console);
  view.PrintRaw(raw, true);
  view.PrintUnicode(raw, true);
  Require(SteeringIn(console.Take(), kLayout).empty());
  const std::string text = tarvex::InLine(raw);
  view.PrintTitle(text, true);
  view.PrintSentence(text, true);
  view.PrintField(raw, raw, true);
  view.BeginTest(text, {});
  view.ShowDeviceScan(text, false);
  const std::string shown = console.Take();
  Require(SteeringIn(shown, "\n\r").empty());
  Require(LinesOf(shown) == 4);
}

void SendToSupervisor(const std::string& raw) {
  tarvex::ConsoleCapture console;
  RbsCliStdioHdk view(console, false);
  view.OnDeviceInit(raw, raw);
  view.OnDeviceFinish(raw, raw, 0, 0, {raw, raw, raw, raw}, raw, raw);
  tarvex::WriteInLine(console, "FinishExecutionBlock:::" + raw);
  tarvex::EndLine(console);
  const std::string sent = console.Take();
  Require(SteeringIn(sent, "\n").empty());
  Require(LinesOf(sent) == 3);
}

}  // namespace

// Any bytes are a text of a stranger: on no channel does it steer anything, nor make a line. Where
// bytes are written as they are, what is no UTF-8 may stay, but no byte that widens to a control
// character.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string raw(reinterpret_cast<const char*>(data), size);
  ShowOnConsole(raw);
  SendToSupervisor(raw);
  Require(SteeringIn(tarvex::NoticeLine(raw), "\n").empty());
  const std::string log =
      orvan::log::RunLine({}, orvan::log::TextArtifact(orvan::log::LogSeverity::kInfo, raw));
  Require(SteeringIn(log, "\n").empty());
  Require(LinesOf(log) == 1);
  const std::string report = tarvex::WithoutSteering(raw, "\t\n\r");
  Require(tarvex::WithoutSteering(report, "\t\n\r") == report);
  for (const wchar_t character : SteeringIn(report, "\t\n\r")) {
    Require(character == tarvex::kReplacement);
  }
  return 0;
}

#include "tools/tool_view.h"

#include <utility>

#include "tools/message_keys.h"

void ToolView::ShowDevices(const std::vector<ToolDeviceRecord>& devices) {
  tarvex::WriteTool(console_, tarvex::ToolDeviceList(words_, devices));
}

void ToolView::ShowErrors(const std::vector<std::string>& keys) {
  tarvex::WriteTool(console_, tarvex::ToolErrors(keys));
}

void ToolView::ShowWarnings(const std::vector<std::string>& keys) {
  tarvex::WriteToolWarnings(console_, keys, [this](const std::string& text) { WriteRaw(text); });
}

void ToolView::WriteRaw(const std::string& text) {
  tarvex::WriteTool(console_, text);
}

void ToolView::ShowUsageHint() {
  tarvex::WriteTool(console_, tarvex::ToolUsageHint(words_));
}

void ToolView::ShowHeader(bool noEsc) {
  tarvex::WriteTool(console_, tarvex::ToolHeader(words_, noEsc));
}

void ToolView::ReportNoDevices(std::vector<std::string> keys) {
  keys.emplace_back(tarvex::kToolNoDevices);
  ShowErrors(keys);
}

void ToolView::OnDeviceInit(const std::string& /*id*/, const std::string& name) {
  tarvex::WriteToolFlushed(console_, "=> " + name + " \n");
}

void ToolView::ShowEnd(const std::string& text) {
  if (!text.empty()) tarvex::WriteTool(console_, text + "\n");
}

void ToolView::ShowProgress(double elapsedSeconds) {
  progressLine_.Show(percent_, elapsedSeconds);
}

void ToolView::SetProgress(std::uint32_t percent, double /*elapsedSeconds*/) {
  percent_ = percent;
}

void ToolView::WipeProgress() {
  progressLine_.Wipe();
}

void ToolView::ShowScanning() {
  progressLine_.ShowScanning();
}

void ToolView::SetMessage(std::string message) {
  message_ = std::move(message);
}

std::string ToolView::TakeMessage() {
  const std::string message = std::exchange(message_, {});
  return message.empty() ? message : " - " + message;
}

#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <utility>

#include "system/flag_bits.h"
#include "tools/forced_abort.h"
#include "tools/tool_cli.h"
#include "tools/tool_command_line.h"
#include "tools/tool_event.h"
#include "tools/tool_event_queue.h"
#include "tools/tool_keyboard.h"
#include "tools/tool_parts.h"
#include "tools/tool_run.h"
#include "tools/tool_screen.h"
#include "tools/tool_spinner.h"
#include "tools/tool_target.h"

// What the commands of the tools are made of, and the steps that they take alike. A tool's own
// command says which steps, and in which order. Main thread.
template <ToolScreens View, ToolUtilities Utils, ToolReports<Utils> Listener>
class ToolCommand : public ToolCli {
 public:
  ToolCommand(const ToolCommand&) = delete;
  ToolCommand& operator=(const ToolCommand&) = delete;

  // Whether the system is bootable, as the program says.
  bool bootable() const { return bootable_; }

 protected:
  // Console and timer outlive the command.
  ToolCommand(DiagModule* module, DiagTool* tool, std::wostream& console, Timer& timer,
              tarvex::TerminalWait terminal = {})
      : console_(console),
        target_(ToolTarget::Of(module, tool)),
        utils_(target_),
        listener_(queue_, utils_),
        keyboard_(std::move(terminal)),
        forcedAbort_(target_) {
    context_.timer = &timer;
  }

  const ToolTarget& target() const { return target_; }
  // Where the tool prints.
  std::wostream& console() const { return console_; }
  Utils& utils() { return utils_; }
  ToolKeyboard& keyboard() { return keyboard_; }
  View& view() { return *view_; }
  const ToolCommandLine& line() const { return line_; }

  // Reads the property that the program set. Before the view is made, which is told of it.
  void ReadProperties() { bootable_ = tarvex::IsBootable(properties, bootable_); }
  void SetView(std::unique_ptr<View> view) {
    view_ = std::move(view);
    context_.view = view_.get();
  }
  // Reads the line with a `Parser`, while the spinner draws on the view; it begins with
  // `viewStart`. False when the line holds an error.
  template <ToolOptions<Utils> Parser>
  bool ParseLine(int argc, char** argv, std::function<void()> viewStart) {
    const Parser parser(utils_, bootable_);
    ToolSpinner spinner(
        std::move(viewStart), [this] { view_->ShowScanning(); }, *context_.timer);
    return parser.Parse(argc, argv, spinner, keyboard_, line_);
  }
  // Shows what is known once the line is read: the header, and what is wrong with the line.
  void ShowStart(bool parsed, bool noEscape) {
    tarvex::WriteToolBlanking(console_);
    view_->ShowHeader(noEscape);
    view_->ShowWarnings(line_.warnings);
    if (parsed) return;
    view_->ShowErrors(line_.errors);
    view_->ShowUsageHint();
  }
  // Runs the tool on the devices that the utilities have prepared.
  void RunPrepared(bool keyBeforeLoop) {
    if (utils_.runDevices().empty()) {
      view_->ReportNoDevices({});
      return;
    }
    tarvex::RunTool({target_, &listener_, utils_.runDevices(), queue_, context_, keyboard_,
                     console_, keyBeforeLoop,
                     [this](double elapsedSeconds) { view_->ShowProgress(elapsedSeconds); }});
  }

 private:
  std::wostream& console_;
  const ToolTarget target_;
  ToolEventQueue queue_;
  Utils utils_;
  ToolCommandLine line_;
  bool bootable_ = false;
  std::unique_ptr<View> view_;
  ToolViewContext<View> context_;
  Listener listener_;
  ToolKeyboard keyboard_;
  // Last, so that no request comes any more once the rest goes.
  ForcedAbort forcedAbort_;
};

#include "tools/tool_keyboard.h"

#include <utility>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_console.h"
#include "tools/tool_cadence.h"

ToolKeyboard::ToolKeyboard(tarvex::TerminalWait terminal)
    : console_(get_console()), terminal_(std::move(terminal)) {}

ToolKeyboard::~ToolKeyboard() {
  if (console_ != nullptr) release_console_instance(console_);
}

void ToolKeyboard::Take() {
  if (console_ != nullptr) console_->TakeKeyboard();
}

int ToolKeyboard::ReadKey() {
  return console_ == nullptr ? kNoKey : console_->ReadKey();
}

int ToolKeyboard::AwaitKey() {
  for (;;) {
    // Asked first: what was typed before the end counts.
    const bool there = terminal_.IsThere();
    const int key = ReadKey();
    if (key != kNoKey) return key;
    if (!there) {
      tarvex::TerminalWait::PassOverHangUp();
      return kNoKey;
    }
    terminal_.Await(tarvex::kToolCadence);
  }
}

#include "tools/recover/rbs_confirmation.h"

#include <string>

#include "boundary/hostlayer_console.h"
#include "tools/recover/rbs_cli_stdio.h"
#include "tools/tool_keyboard.h"

namespace {

constexpr int kBackspace = 8;
constexpr int kEnter = 13;
constexpr char kRubOut[] = "\b";

enum class Reply { kNone, kNo, kYes };

// The answer on the screen, and its echo.
class Answer {
 public:
  explicit Answer(RbsCliStdio& view) : view_(view) {}

  void Set(Reply reply) {
    RubOut();
    Echo(reply == Reply::kYes ? "y" : "n");
    pending_ = reply;
  }
  void RubOut() {
    if (pending_ != Reply::kNone) Echo(kRubOut);
    pending_ = Reply::kNone;
  }
  // Gives the answer; none while there is none.
  Reply Enter() {
    if (pending_ != Reply::kNone) Echo("\n");
    return pending_;
  }
  void Echo(const std::string& text) {
    view_.WriteRaw(text);
    view_.console().flush();
  }

 private:
  RbsCliStdio& view_;
  Reply pending_ = Reply::kNone;
};

}  // namespace

bool tarvex::ConfirmRepair(RbsCliStdio& view, ToolKeyboard& keyboard) {
  view.ShowConfirmation();
  view.console().flush();
  Answer answer(view);
  for (;;) {
    switch (keyboard.AwaitKey()) {
      case 'y':
      case 'Y':
        answer.Set(Reply::kYes);
        break;
      case 'n':
      case 'N':
        answer.Set(Reply::kNo);
        break;
      case kBackspace:
        answer.RubOut();
        break;
      case kEnter:
        if (const Reply reply = answer.Enter(); reply != Reply::kNone) return reply == Reply::kYes;
        break;
      case kNoKey:
        answer.Echo("\n");
        return false;
      default:
        break;
    }
  }
}

#pragma once

class RbsCliStdio;
class ToolKeyboard;

namespace tarvex {

// Asks whether to go on, and waits for a letter with Enter behind it; nothing else is an answer,
// and no single key starts a repair. False for a no, and as soon as nobody can answer any more:
// without a terminal, or when it is hung up. Main thread.
bool ConfirmRepair(RbsCliStdio& view, ToolKeyboard& keyboard);

}  // namespace tarvex

#include "frontend/warning_lines.h"

#include "system/outside_text.h"
#include "views/message_keys.h"
#include "views/orvan_stdio.h"

namespace tarvex {

void PrintWarningTag(OrvanStdio& view) {
  view.PrintSentence(WarningKey(), false);
}

void PrintWarning(OrvanStdio& view, const std::string& key) {
  PrintWarningTag(view);
  view.PrintSentence(key, true);
}

void PrintWarningList(OrvanStdio& view, const std::string& key,
                      const std::vector<std::string>& names) {
  PrintWarningTag(view);
  view.PrintSentence(key + ": ", false);
  for (std::size_t i = 0; i < names.size(); ++i) {
    view.PrintUnicode(InLine(names[i]), false);
    if (i + 1 < names.size()) view.PrintSentence(", ", false);
  }
  view.PrintNewLine();
}

}  // namespace tarvex

#pragma once

#include <string>
#include <vector>

class OrvanStdio;

namespace tarvex {

// Opens a warning: its tag and a blank, without a line end. Main thread, as the rest.
void PrintWarningTag(OrvanStdio& view);
// A line of its own: the tag and the key.
void PrintWarning(OrvanStdio& view, const std::string& key);
// The same with names behind the key, which come from outside.
void PrintWarningList(OrvanStdio& view, const std::string& key,
                      const std::vector<std::string>& names);

}  // namespace tarvex

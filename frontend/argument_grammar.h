#pragma once

#include <string>

class Cli;

// Looks at the words of the line from the first one that was not looked at to that one: devices go
// to the module that the parser works on. kParseOk or kParseFatal. Main thread.
int ScanWords(Cli& cli, int last, char** argv, std::string& errorText);

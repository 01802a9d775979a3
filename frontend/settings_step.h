#pragma once

#include <string>

class Cli;

// Hands the settings of the line to the service, and tells on the view of data collection that the
// line turns on or off. A parse code, with the key of a failure. Main thread.
int HandOverSettings(Cli& cli, std::string& errorText);

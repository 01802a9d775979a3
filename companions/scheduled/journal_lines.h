#pragma once

#include <string>
#include <vector>

#include "companions/history/run.h"
#include "os/child_process.h"

// What the journal is told of a run that nobody watched. Any thread.
namespace tarvex::scheduled {

// A line each, without its end, with the priority in front that the journal takes it by
// (sd-daemon(3)): each test that did not pass with its device and its words, what is wrong with the
// log, and at the end what the run came to. `run`: what its log tells; null when there is none, and
// `whyNone` says why.
std::vector<std::string> JournalLines(const ProcessEnd& end, const history::LoggedRun* run,
                                      const std::string& whyNone);

// The exit status that stands for such an end: the program's own, and as in a shell 128 and the
// signal.
int StatusOf(const ProcessEnd& end);

}  // namespace tarvex::scheduled

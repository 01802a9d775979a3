#pragma once

#include "service/worker/connection.h"

namespace orvan::worker {

// From now on a fatal signal is told to the program, with the places of the code that led there,
// and ends the process as it would have. Once, on the main thread, whose stack may overflow.
void ReportCrashesTo(const ProgramChannel& channel);

// Learns which libraries there are, so that places of the code are named by them. To be called
// again when there are more. One thread.
void LearnLibraries();

// Lets the calling thread report its own crashes where it would have every signal wait. Once, for a
// thread that lives as long as the process.
void ReportCrashesHere();

}  // namespace orvan::worker

#pragma once

#include <string>

#include "service/remote/conversation.h"

// What is said of a worker that had to be given up.
namespace orvan::remote {

// What became of it, in plain words behind a subject, e.g. "was ended by signal 11 (SIGSEGV)".
std::string WhatBecame(const Outcome& outcome);
// The same for the log, with all that is known: the address and the places of the code of a crash.
std::string WhatBecameInFull(const Outcome& outcome);
// A message key that is shown as this text.
std::string KeyOfText(const std::string& text);

}  // namespace orvan::remote

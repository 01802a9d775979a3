#pragma once

namespace tarvex {

// Whoever starts this program with more rights than his own, as `sudo -E` does, says what its
// environment is, and the libraries of this process would load, open and connect to what it names.

// Takes all out of `environment`, which ends with a null, but the variables of this program, LANG
// and LC_* that name no path, TERM, and a TZ that stays below the system's folder of time zones. In
// place and in the order that is there; needs no library, so it may run before any is ready.
void KeepAllowedVariables(char** environment);

// The same for the program's own, in the form of an entry of ".preinit_array": those run before the
// initialisers of all libraries.
void CleanEnvironmentAtStart(int argumentCount, char** arguments, char** environment);

}  // namespace tarvex

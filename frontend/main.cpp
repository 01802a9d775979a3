#include "frontend/program.h"
#include "frontend/uncaught_error.h"
#include "system/clean_environment.h"
#include "views/console_stream.h"

namespace {

// In front of the initialisers of the libraries, of which some read the environment.
[[gnu::section(".preinit_array"),
  gnu::used]] void (*const cleanFirst)(int, char**, char**) = tarvex::CleanEnvironmentAtStart;

}  // namespace

int main(int argc, char** argv) {
  tarvex::TellOfUncaughtErrors();
  // Caught and thrown again, so that the stack is unwound and every destructor has run before an
  // error of our own ends the process.
  tarvex::ConsoleStream& console = tarvex::StandardOutput();
  try {
    return RunProgram(argc, argv, console);
  } catch (...) {
    console.flush();
    throw;
  }
}

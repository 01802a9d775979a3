#pragma once

namespace tarvex {
class ConsoleStream;
}

// The program from its first step to its exit status: prepares the process, checks rights and the
// single instance, builds the application object and carries out the course that the command line
// asks for. What it prints goes to `console`. Main thread, once per process.
int RunProgram(int argc, char** argv, tarvex::ConsoleStream& console);

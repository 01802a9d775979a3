#pragma once

// The program from its first step to its exit status: prepares the process, checks rights and the
// single instance, builds the application object and carries out the course that the command line
// asks for. Main thread, once per process.
int RunProgram(int argc, char** argv);

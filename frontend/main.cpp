#include "frontend/program.h"

int main(int argc, char** argv) {
  // Caught and thrown again, so that the stack is unwound and every destructor has run before an
  // error of our own ends the process.
  try {
    return RunProgram(argc, argv);
  } catch (...) {
    throw;
  }
}

// Holds the inhibitor from its start to the end of its standard input, for keep_awake_test.py. The
// first argument is the bus's socket; with a second it is patient, so that a slow login manager
// doesn't count as none.

#include <unistd.h>

#include <iostream>

#include "os/keep_awake.h"

int main(int argumentCount, char** arguments) {
  if (argumentCount < 2) return 2;
  constexpr std::chrono::milliseconds kQuick(100);
  const tarvex::KeepAwake keepAwake(argumentCount > 2 ? std::chrono::seconds(30) : kQuick,
                                    arguments[1]);
  std::cout << (keepAwake.IsHeld() ? "held" : "not held") << std::endl;
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) > 0) {
  }
  return 0;
}

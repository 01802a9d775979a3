// Holds the inhibitor from its start to the end of its standard input, for keep_awake_test.py. With
// an argument it is patient, so that a slow login manager doesn't count as none.

#include <unistd.h>

#include <iostream>

#include "system/keep_awake.h"

int main(int argumentCount, char** /*arguments*/) {
  const tarvex::KeepAwake keepAwake =
      argumentCount > 1 ? tarvex::KeepAwake(std::chrono::seconds(30)) : tarvex::KeepAwake();
  std::cout << (keepAwake.IsHeld() ? "held" : "not held") << std::endl;
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) > 0) {
  }
  return 0;
}

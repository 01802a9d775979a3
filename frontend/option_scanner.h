#pragma once

#include <string>

#include "frontend/option_conflicts.h"

class Cli;
struct OptionInHand;

// One pass over the command line, which fills the fields of the application object. Main thread.
class OptionScanner {
 public:
  OptionScanner(Cli& cli, int argc, char** argv, std::string& errorText)
      : cli_(cli), argc_(argc), argv_(argv), errorText_(errorText) {}

  // A parse code, with the key of a failure in the error text.
  int Scan();

 private:
  int CheckArguments();
  int ScanOptions();
  int Take(const OptionRow& row, const OptionInHand& option);
  int Settle();
  int RefuseWithHelp(const char* key);
  LineState State(const OptionRow* option = nullptr) const {
    return {cli_, argc_, argv_, option, otherOption_};
  }

  Cli& cli_;
  int argc_;
  char** argv_;
  std::string& errorText_;
  bool otherOption_ = false;
};

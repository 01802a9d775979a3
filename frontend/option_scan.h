#pragma once

#include <cstdint>
#include <string>

#include "frontend/cli.h"

// One pass of the scanner over the line.
struct Cli::OptionScan {
  int argc;
  char** argv;  // as typed, never permuted
  std::string& errorText;
  bool otherOption = false;    // an option was seen that a tool may not be combined with
  int value = 0;               // of the option in hand
  const char* text = nullptr;  // its attached argument; null: none
};

// What one option does.
struct Cli::OptionCase {
  int value;
  int (Cli::*handler)(OptionScan& scan, const OptionCase& option);
  std::uint32_t ownBit = 0;   // the flag that makes a repeated option a duplicate
  std::uint32_t setBits = 0;  // the flags that it sets
  std::uint32_t clearBits = 0;
  bool setsOtherOption = false;
};

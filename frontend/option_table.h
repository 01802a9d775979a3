#pragma once

#include <getopt.h>

#include <array>
#include <deque>
#include <string>
#include <vector>

// A long option as the scanner takes it: name, argument kind, flag pointer (null), value.
using OptionRecord = ::option;

// The long options of one run: the fixed ones, then those of the modules, then a record of zeros.
class OptionTable {
 public:
  void Clear();
  void Add(const OptionRecord& record) { records_.push_back(record); }
  // The name is kept by the table.
  void AddOptionalArgument(const std::string& name, char value);
  void Close() { records_.push_back({nullptr, 0, nullptr, 0}); }
  const OptionRecord* Data() const { return records_.data(); }

 private:
  std::vector<OptionRecord> records_;
  std::deque<std::string> names_;  // what the records of modules point to
};

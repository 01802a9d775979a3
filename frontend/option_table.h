#pragma once

#include <getopt.h>

#include <array>
#include <deque>
#include <string>
#include <vector>

// A long option as the scanner takes it: name, argument kind, flag pointer (null), value.
using OptionRecord = ::option;

// The short options that the program itself has.
inline constexpr char kFixedShortOptions[] = "s::o::SADRLM::hbvG::T::U::C::P::V::e::Wr";

// The 22 long options that the program itself has, in their order.
extern const std::array<OptionRecord, 22> kFixedLongOptions;

// The long options of one run: the fixed ones, then those of the modules, then a record of zeros.
class OptionTable {
 public:
  void Clear();
  void Add(const OptionRecord& record) { records_.push_back(record); }
  // The name is kept by the table.
  void AddOptionalArgument(const std::string& name, char value);
  void Close() { records_.push_back({nullptr, 0, nullptr, 0}); }
  const OptionRecord* Data() const { return records_.data(); }
  const std::vector<OptionRecord>& Records() const { return records_; }

 private:
  std::vector<OptionRecord> records_;
  std::deque<std::string> names_;  // what the records of modules point to
};

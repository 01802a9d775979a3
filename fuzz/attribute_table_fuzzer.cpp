#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/smart/attribute_table.h"

namespace {

constexpr std::array kColumns{AttributeColumn{"ID", 5}, AttributeColumn{"DESCRIPTION", 40},
                              AttributeColumn{"DATA", 40}};
constexpr std::size_t kBlanks = 5 + 40 + 40;

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

// Any bytes are a table: a row for each record that is closed, made of no more than the bytes and
// the columns' blanks, and what stands in front of a brace never changes what comes of what stands
// behind it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string rows = tarvex::AttributeRows(kColumns, text);
  const auto opened = static_cast<std::size_t>(std::count(text.begin(), text.end(), '{'));
  const auto closed = static_cast<std::size_t>(std::count(text.begin(), text.end(), '}'));
  Require(rows.empty() || rows.back() == '\n');
  Require(rows.size() <= size + std::min(opened, closed) * (kBlanks + 1));
  const std::string ended = tarvex::AttributeRows(kColumns, text + "}");
  Require(ended.compare(0, rows.size(), rows) == 0);
  Require(tarvex::AttributeRows(kColumns, text + R"(}{"n":"x"})") == ended + "x    \n");
  return 0;
}

#include "companions/history/table_text.h"

#include <algorithm>

#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

constexpr std::string_view kFormulaStarts = "=+-@\t\r";

// Characters, not bytes.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

std::string TableText(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t at = 0; at < row.size(); ++at) {
      widths[at] = std::max(widths[at], WidthOf(row[at]));
    }
  }
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t at = 0; at < row.size(); ++at) {
      text += row[at];
      if (at + 1 < row.size()) text.append(widths[at] - WidthOf(row[at]) + 2, ' ');
    }
    text += '\n';
  }
  return text;
}

CsvLine& CsvLine::Cell(const std::string& cell) {
  if (!std::exchange(isFirst_, false)) line_ += ',';
  if (cell.find_first_of(",\"\r\n") == std::string::npos) {
    line_ += cell;
    return *this;
  }
  line_ += '"';
  for (const char byte : cell) line_.append(byte == '"' ? 2 : 1, byte);
  line_ += '"';
  return *this;
}

CsvLine& CsvLine::Text(const std::string& text) {
  const bool isFormula = !text.empty() && kFormulaStarts.find(text[0]) != std::string_view::npos;
  return Cell(isFormula ? '\'' + text : text);
}

CsvLine& CsvLine::Number(const std::optional<double>& value) {
  return Cell(value ? orvan::log::JsonNumber(*value) : std::string());
}

std::string CsvHead(const std::vector<std::string>& names) {
  CsvLine line;
  for (const std::string& name : names) line.Text(name);
  return line.Take();
}

}  // namespace tarvex::history

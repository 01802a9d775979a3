#pragma once

#include <optional>
#include <string>
#include <vector>

// Tables for people and for spreadsheets. Any thread.
namespace tarvex::history {

// Columns of equal width, the last one as long as it is. Each line ends with a line feed.
std::string TableText(const std::vector<std::vector<std::string>>& rows);

// One line of a file for spreadsheets. Source: RFC 4180.
class CsvLine {
 public:
  // A text from outside: where a spreadsheet would take it for a formula, an apostrophe is put in
  // front of it.
  CsvLine& Text(const std::string& text);
  // A number of ours; empty when there is none.
  CsvLine& Number(const std::optional<double>& value);
  std::string Take() { return std::move(line_) + "\r\n"; }

 private:
  CsvLine& Cell(const std::string& cell);
  std::string line_;
  bool isFirst_ = true;
};
std::string CsvHead(const std::vector<std::string>& names);

}  // namespace tarvex::history

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What is sent to COPY in its text format.
// Source: PostgreSQL 15 documentation, COPY, "Text Format".
namespace tarvex::history {

// Rows of one table, column by column. A text may hold anything: what is no UTF-8 and a zero byte,
// which the database does not take, become U+FFFD.
class CopyText {
 public:
  CopyText& Text(std::string_view text);
  // Null for an empty text.
  CopyText& TextOrNull(std::string_view text);
  CopyText& Whole(std::int64_t value);
  CopyText& WholeOrNull(std::optional<std::int64_t> value);
  CopyText& Real(std::optional<double> value);
  CopyText& Reals(const std::vector<double>& values);
  CopyText& Truth(bool value);
  CopyText& Null();
  void EndRow();

  const std::string& Rows() const { return rows_; }
  bool IsEmpty() const { return rows_.empty(); }

 private:
  void Separate();

  std::string rows_;
  bool isFirst_ = true;
};

// The text as a JSON string, with its quotes. The same becomes U+FFFD.
std::string QuotedJson(std::string_view text);
// "null" for what JSON has no number for.
std::string JsonOf(double value);

}  // namespace tarvex::history

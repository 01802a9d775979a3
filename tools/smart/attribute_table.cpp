#include "tools/smart/attribute_table.h"

#include <algorithm>

#include "system/key_format.h"
#include "system/text_conversion.h"

namespace tarvex {
namespace {

constexpr std::size_t kNone = std::string_view::npos;
// The colon itself, and the quote that opens the value.
constexpr std::size_t kBeforeValue = 2;

void AppendCell(std::string& row, std::string_view value, std::size_t width) {
  const std::size_t shown = Utf8ToWideLenient(value).size();
  row += value;
  row.append(width - std::min(width, shown), ' ');
}

void AppendRow(std::string& rows, std::span<const AttributeColumn> columns,
               std::string_view record) {
  std::size_t place = 0;
  for (const AttributeColumn& column : columns) {
    const std::size_t colon = record.find(':', place);
    if (colon == kNone) break;
    const std::size_t begin = std::min(colon + kBeforeValue, record.size());
    place = std::min(record.find('"', begin), record.size());
    AppendCell(rows, record.substr(begin, place - begin), column.width);
  }
  rows += '\n';
}

}  // namespace

std::string AttributeHead(std::span<const AttributeColumn> columns) {
  std::string row;
  for (const AttributeColumn& column : columns) {
    AppendCell(row, KeyToText(column.head, true), column.width);
  }
  return row + "\n";
}

std::string AttributeRows(std::span<const AttributeColumn> columns, std::string_view text) {
  std::string rows;
  std::size_t place = 0;
  for (;;) {
    const std::size_t opening = text.find('{', place);
    if (opening == kNone) return rows;
    const std::size_t closing = text.find('}', opening);
    if (closing == kNone) return rows;
    AppendRow(rows, columns, text.substr(opening + 1, closing - opening - 1));
    place = closing + 1;
  }
}

}  // namespace tarvex

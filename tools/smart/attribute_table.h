#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// A column of a table of attributes.
struct AttributeColumn {
  const char* head;   // a key
  std::size_t width;  // in characters; what is longer is shown whole
};

namespace tarvex {

// The row of the columns' heads, with its line feed.
std::string AttributeHead(std::span<const AttributeColumn> columns);

// The rows of a table, each with its line feed, cut out of the service's text. A record is what
// stands between a "{" and the next "}", and a value what stands behind a colon and the sign that
// follows it, up to the next quote; names do not matter, the order of the values does. A record of
// fewer values makes a shorter row, and what is left over of one with more is not shown. Any text
// is taken, in time that grows in a straight line with it.
std::string AttributeRows(std::span<const AttributeColumn> columns, std::string_view text);

}  // namespace tarvex

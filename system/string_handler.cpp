#include "system/string_handler.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char kFirstPrintable = 32;
constexpr char kLastPrintable = 126;

char Presentable(char character) {
  return character >= kFirstPrintable && character <= kLastPrintable ? character : '?';
}

}  // namespace

std::string StringHandler::CopyUntilNul(const std::string& text) {
  return text.substr(0, text.find('\0'));
}

char* StringHandler::CleanFixedField(char* destination, std::size_t size, const char* source,
                                     std::size_t sourceLength) {
  if (destination == nullptr || size == 0) return destination;
  // A copy, so that a field can be cleaned in its place.
  std::string field;
  if (source != nullptr) field.assign(source, strnlen(source, sourceLength));
  field.erase(0, std::min(field.find_first_not_of(' '), field.size()));
  field.erase(field.find_last_not_of(' ') + 1);

  std::memset(destination, 0, size);
  const std::size_t count = std::min(field.size(), size - 1);
  std::transform(field.begin(), field.begin() + static_cast<std::ptrdiff_t>(count), destination,
                 Presentable);
  return destination;
}

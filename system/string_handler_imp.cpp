#include "system/string_handler_imp.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <sstream>

#include "boundary/ascii_case.h"

namespace {

int AsResult(std::size_t length) {
  return static_cast<int>(std::min<std::size_t>(length, INT_MAX));
}

bool Overlap(const char* first, std::size_t firstSize, const char* second, std::size_t secondSize) {
  const auto left = reinterpret_cast<std::uintptr_t>(first);
  const auto right = reinterpret_cast<std::uintptr_t>(second);
  if (firstSize == 0 || secondSize == 0) return false;
  return left <= right ? right - left < firstSize : left - right < secondSize;
}

// The common end of the bounded copies: `length` characters of `source` behind the first `used` of
// the destination, or an empty destination and an errno value.
int PlaceText(char* destination, std::size_t size, std::size_t used, const char* source,
              std::size_t length) {
  if (length >= size - used) {
    destination[0] = '\0';
    return ERANGE;
  }
  std::memmove(destination + used, source, length);
  destination[used + length] = '\0';
  return 0;
}

// The common end of the two conversions. `needed` is the length of the whole result, or SIZE_MAX
// when the text can't be converted.
int FinishConversion(std::size_t* converted, std::size_t needed, std::size_t size, bool counting) {
  int error = 0;
  if (needed == SIZE_MAX) {
    error = EILSEQ;
  } else if (!counting && needed >= size) {
    error = ERANGE;
  }
  if (converted != nullptr) *converted = error == 0 ? needed + 1 : 0;
  return error;
}

// The narrow form of at most `count` bytes; whole characters only. False when it can't be made.
bool ConvertToNarrow(const wchar_t* source, std::size_t count, std::string& text) {
  std::mbstate_t state{};
  char bytes[MB_LEN_MAX];
  for (; *source != L'\0'; ++source) {
    const std::size_t length = std::wcrtomb(bytes, *source, &state);
    if (length == static_cast<std::size_t>(-1)) return false;
    if (length > count - text.size()) return true;
    text.append(bytes, length);
  }
  return true;
}

// The wide form of at most `count` characters. False when it can't be made.
bool ConvertToWide(const char* source, std::size_t count, std::wstring& text) {
  std::mbstate_t state{};
  const char* const end = source + std::strlen(source);
  while (source != end && text.size() < count) {
    wchar_t character = L'\0';
    const std::size_t length =
        std::mbrtowc(&character, source, static_cast<std::size_t>(end - source), &state);
    if (length > static_cast<std::size_t>(end - source)) return false;
    text.push_back(character);
    source += length;
  }
  return true;
}

}  // namespace

bool StringHandlerImp::IsNumber(const char* text, std::size_t maximum) {
  if (text == nullptr) return true;
  return std::all_of(text, text + strnlen(text, maximum),
                     [](char character) { return character >= '0' && character <= '9'; });
}

void StringHandlerImp::RemoveBlanks(const std::string& source, std::string& output) {
  std::string kept(source);
  kept.erase(std::remove(kept.begin(), kept.end(), ' '), kept.end());
  output += kept;
}

void StringHandlerImp::KeepPrintable(const std::string& source, std::string& output) {
  std::string kept;
  std::copy_if(source.begin(), source.end(), std::back_inserter(kept),
               [](char character) { return character >= 32 && character <= 126; });
  output += kept;
}

std::string StringHandlerImp::RemoveChars(const std::string& set, const std::string& source,
                                          std::string& output) {
  if (source.empty() || set.empty()) return source;
  std::string kept;
  std::copy_if(source.begin(), source.end(), std::back_inserter(kept),
               [&set](char character) { return set.find(character) == std::string::npos; });
  output = kept;
  return kept;
}

void StringHandlerImp::Trim(std::string& text) {
  if (text.empty()) return;
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) {
    text[0] = '\0';
    return;
  }
  text.erase(text.find_last_not_of(' ') + 1);
  text.erase(0, first);
}

bool StringHandlerImp::IsUpperCase(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
    return tarvex::AsciiUpper(character) == character;
  });
}

void StringHandlerImp::ToUpper(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), tarvex::AsciiUpper);
}

void StringHandlerImp::ToLower(std::string& text) {
  std::transform(text.begin(), text.end(), text.begin(), tarvex::AsciiLower);
}

bool StringHandlerImp::StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

std::vector<std::string> StringHandlerImp::Split(const std::string& text, char delimiter) {
  std::vector<std::string> fields;
  std::istringstream reader(text);
  for (std::string field; std::getline(reader, field, delimiter);) fields.push_back(field);
  return fields;
}

int StringHandlerImp::CompareN(const char* left, const char* right, std::size_t count) {
  return std::strncmp(left, right, count);
}

int StringHandlerImp::FormatBounded(char* buffer, std::size_t size, const char* format, ...) {
  if (buffer == nullptr || size == 0) return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  if (length >= 0 && static_cast<std::size_t>(length) < size) return length;
  buffer[0] = '\0';
  return -1;
}

int StringHandlerImp::CopyN(char* destination, std::size_t size, const char* source,
                            std::size_t count) {
  if (destination == nullptr || size == 0) return EINVAL;
  if (source == nullptr) {
    destination[0] = '\0';
    return EINVAL;
  }
  return PlaceText(destination, size, 0, source, strnlen(source, count));
}

int StringHandlerImp::CopyBounded(char* destination, std::size_t size, const char* source,
                                  std::size_t sourceMaximum) {
  if (destination == nullptr || size == 0) return -1;
  destination[0] = '\0';
  if (source == nullptr || Overlap(destination, size, source, sourceMaximum)) return -1;
  return PlaceText(destination, size, 0, source, strnlen(source, sourceMaximum)) == 0 ? 0 : -1;
}

int StringHandlerImp::LengthN(const char* text, std::size_t maximum) {
  return text == nullptr ? 0 : AsResult(strnlen(text, maximum));
}

int StringHandlerImp::AppendN(char* destination, std::size_t size, const char* source,
                              std::size_t count) {
  if (destination == nullptr || size == 0) return EINVAL;
  const std::size_t used = strnlen(destination, size);
  if (source == nullptr || used == size) {
    destination[0] = '\0';
    return EINVAL;
  }
  return PlaceText(destination, size, used, source, strnlen(source, count));
}

int StringHandlerImp::WideToNarrow(std::size_t* converted, char* destination, std::size_t size,
                                   const wchar_t* source, std::size_t count) {
  const bool counting = destination == nullptr && size == 0;
  if (!counting && (destination == nullptr || size == 0)) return EINVAL;
  if (!counting) destination[0] = '\0';
  if (source == nullptr) return EINVAL;
  std::string text;
  const bool good = ConvertToNarrow(source, count, text);
  const int error = FinishConversion(converted, good ? text.size() : SIZE_MAX, size, counting);
  if (error == 0 && !counting) std::memcpy(destination, text.c_str(), text.size() + 1);
  return error;
}

int StringHandlerImp::NarrowToWide(std::size_t* converted, wchar_t* destination, std::size_t size,
                                   const char* source, std::size_t count) {
  const bool counting = destination == nullptr && size == 0;
  if (!counting && (destination == nullptr || size == 0)) return EINVAL;
  if (!counting) destination[0] = L'\0';
  if (source == nullptr) return EINVAL;
  std::wstring text;
  const bool good = ConvertToWide(source, count, text);
  const int error = FinishConversion(converted, good ? text.size() : SIZE_MAX, size, counting);
  if (error == 0 && !counting) std::wmemcpy(destination, text.c_str(), text.size() + 1);
  return error;
}

int StringHandlerImp::WideLengthN(const wchar_t* text, std::size_t maximum) {
  return text == nullptr ? 0 : AsResult(wcsnlen(text, maximum));
}

int StringHandlerImp::LocalTime(std::tm* record, const std::time_t* value) {
  if (record == nullptr || value == nullptr) return EINVAL;
  errno = 0;
  if (localtime_r(value, record) != nullptr) return 0;
  return errno != 0 ? errno : EOVERFLOW;
}

int StringHandlerImp::FormatTruncated(char* buffer, std::size_t size, const char* format, ...) {
  if (buffer == nullptr && size != 0) return -1;
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(buffer, size, format, arguments);
  va_end(arguments);
  return length < 0 ? -1 : length;
}

int StringHandlerImp::FormatToStream(std::FILE* stream, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vfprintf(stream, format, arguments);
  va_end(arguments);
  return length;
}

std::string StringHandlerImp::StringFromBuffer(const char* buffer, std::size_t count) {
  return std::string(buffer, count);
}

std::vector<std::string> StringHandlerImp::Tokenize(const std::string& text,
                                                    const std::string& delimiters) {
  std::vector<std::string> tokens;
  std::string copy = CopyUntilNul(text);
  char* rest = nullptr;
  for (char* token = strtok_r(copy.data(), delimiters.c_str(), &rest); token != nullptr;
       token = strtok_r(nullptr, delimiters.c_str(), &rest)) {
    tokens.emplace_back(token);
  }
  return tokens;
}

void StringHandlerImp::RemoveTrailing(std::string& text, const std::string& set) {
  if (text.empty() || set.empty() || text.size() < set.size()) return;
  if (set.find(text.back()) != std::string::npos) text.resize(text.size() - set.size());
}

std::wstring StringHandlerImp::Widen(const std::string& text) {
  std::wstring wide;
  wide.reserve(text.size());
  for (const char character : text) {
    wide.push_back(static_cast<wchar_t>(static_cast<signed char>(character)));
  }
  return wide;
}

#pragma once

#include "system/string_handler.h"

// The text operations over the C and C++ runtime. Stateless; any thread.
class StringHandlerImp : public StringHandler {
 public:
  bool IsNumber(const char* text, std::size_t maximum) override;
  void RemoveBlanks(const std::string& source, std::string& output) override;
  void KeepPrintable(const std::string& source, std::string& output) override;
  std::string RemoveChars(const std::string& set, const std::string& source,
                          std::string& output) override;
  void Trim(std::string& text) override;
  bool IsUpperCase(const std::string& text) override;
  void ToUpper(std::string& text) override;
  void ToLower(std::string& text) override;
  bool StartsWith(const std::string& text, const std::string& prefix) override;
  std::vector<std::string> Split(const std::string& text, char delimiter) override;
  int CompareN(const char* left, const char* right, std::size_t count) override;
  int FormatBounded(char* buffer, std::size_t size, const char* format, ...) override
      __attribute__((format(printf, 4, 5)));
  int CopyN(char* destination, std::size_t size, const char* source, std::size_t count) override;
  int CopyBounded(char* destination, std::size_t size, const char* source,
                  std::size_t sourceMaximum) override;
  int LengthN(const char* text, std::size_t maximum) override;
  int AppendN(char* destination, std::size_t size, const char* source, std::size_t count) override;
  int WideToNarrow(std::size_t* converted, char* destination, std::size_t size,
                   const wchar_t* source, std::size_t count) override;
  int NarrowToWide(std::size_t* converted, wchar_t* destination, std::size_t size,
                   const char* source, std::size_t count) override;
  int WideLengthN(const wchar_t* text, std::size_t maximum) override;
  int LocalTime(std::tm* record, const std::time_t* value) override;
  int FormatTruncated(char* buffer, std::size_t size, const char* format, ...) override
      __attribute__((format(printf, 4, 5)));
  int FormatToStream(std::FILE* stream, const char* format, ...) override
      __attribute__((format(printf, 3, 4)));
  std::string StringFromBuffer(const char* buffer, std::size_t count) override;
  std::vector<std::string> Tokenize(const std::string& text,
                                    const std::string& delimiters) override;
  void RemoveTrailing(std::string& text, const std::string& set) override;
  std::wstring Widen(const std::string& text) override;
};

#pragma once

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

// Small stateless text operations over narrow strings and buffers. Any thread.
class StringHandler {
 public:
  virtual ~StringHandler() = default;
  // Every character up to the bounded length is a decimal digit; an empty text counts.
  virtual bool IsNumber(const char* text, std::size_t maximum) = 0;
  // Appends every character but the blank to `output`.
  virtual void RemoveBlanks(const std::string& source, std::string& output) = 0;
  // Appends every character from 32 to 126 to `output`.
  virtual void KeepPrintable(const std::string& source, std::string& output) = 0;
  // `output` becomes and the result is `source` without the characters of `set`. With an empty
  // source or set the result is `source`, and `output` is left alone.
  virtual std::string RemoveChars(const std::string& set, const std::string& source,
                                  std::string& output) = 0;
  // Removes blanks at both ends. A text of blanks only keeps its length, and its first byte
  // becomes 0.
  virtual void Trim(std::string& text) = 0;
  // The text equals its upper-case copy; false for an empty text.
  virtual bool IsUpperCase(const std::string& text) = 0;
  virtual void ToUpper(std::string& text) = 0;
  virtual void ToLower(std::string& text) = 0;
  virtual bool StartsWith(const std::string& text, const std::string& prefix) = 0;
  // Fields between delimiters, empty ones included; nothing follows a last delimiter.
  virtual std::vector<std::string> Split(const std::string& text, char delimiter) = 0;
  virtual int CompareN(const char* left, const char* right, std::size_t count) = 0;
  // Formats into the buffer, its size enforced; -1 when the text does not fit or is bad.
  virtual int FormatBounded(char* buffer, std::size_t size, const char* format, ...)
      __attribute__((format(printf, 4, 5))) = 0;
  // Copies at most `count` characters; fails (non-zero, empty destination) rather than overruns.
  virtual int CopyN(char* destination, std::size_t size, const char* source, std::size_t count) = 0;
  // 0; -1 when a pointer is null, the size is 0, the source does not fit, or the buffers overlap.
  // Always terminated where a destination is given.
  virtual int CopyBounded(char* destination, std::size_t size, const char* source,
                          std::size_t sourceMaximum) = 0;
  virtual int LengthN(const char* text, std::size_t maximum) = 0;
  // Appends at most `count` characters; fails (non-zero, empty destination) rather than overruns.
  virtual int AppendN(char* destination, std::size_t size, const char* source,
                      std::size_t count) = 0;
  // Conversions in the current C locale. *converted gets the count with the terminator. 0, or an
  // errno value.
  virtual int WideToNarrow(std::size_t* converted, char* destination, std::size_t size,
                           const wchar_t* source, std::size_t count) = 0;
  virtual int NarrowToWide(std::size_t* converted, wchar_t* destination, std::size_t size,
                           const char* source, std::size_t count) = 0;
  // Bounded length; 0 for a null text.
  virtual int WideLengthN(const wchar_t* text, std::size_t maximum) = 0;
  // The broken-down local time. 0, or an errno value.
  virtual int LocalTime(std::tm* record, const std::time_t* value) = 0;
  // Formats and cuts to fit; -1 when the format is bad.
  virtual int FormatTruncated(char* buffer, std::size_t size, const char* format, ...)
      __attribute__((format(printf, 4, 5))) = 0;
  virtual int FormatToStream(std::FILE* stream, const char* format, ...)
      __attribute__((format(printf, 3, 4))) = 0;
  // Exactly `count` bytes, zero bytes included.
  virtual std::string StringFromBuffer(const char* buffer, std::size_t count) = 0;
  // Parts between characters of the set; runs of delimiters give no empty parts.
  virtual std::vector<std::string> Tokenize(const std::string& text,
                                            const std::string& delimiters) = 0;
  // The bytes up to the first zero byte or the end.
  virtual std::string CopyUntilNul(const std::string& text);
  // Makes a clean text out of a fixed-width field: blanks at both ends go, characters outside 32
  // to 126 become "?", at most size - 1 characters, the rest of the destination zeroed.
  virtual char* CleanFixedField(char* destination, std::size_t size, const char* source,
                                std::size_t sourceLength);
  // When the last character is in `set`, cuts as many characters as the set has.
  virtual void RemoveTrailing(std::string& text, const std::string& set) = 0;
  // One wide character per byte, the byte taken as signed.
  virtual std::wstring Widen(const std::string& text) = 0;
};

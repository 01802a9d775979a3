#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "os/descriptor_writer.h"

namespace tarvex {

// Takes wide text and gives UTF-8 bytes to a sink, buffered. What is no Unicode scalar value (a
// lone surrogate, or past U+10FFFF) becomes U+FFFD, and so does what steers a terminal, but for the
// characters of layout (system/outside_text.h). The first failure of the sink stays: from then
// on nothing is taken, which a stream over this buffer shows as badbit. One thread at a time.
class ConsoleStreamBuffer : public std::wstreambuf {
 public:
  // Writes all `size` bytes; returns 0 or an errno value.
  using Sink = std::function<int(const char* data, std::size_t size)>;

  explicit ConsoleStreamBuffer(Sink sink);
  // The buffer of a file descriptor, which it doesn't own. A reader that takes nothing for longer
  // than the patience is a failure (ETIMEDOUT).
  explicit ConsoleStreamBuffer(int descriptor, WritePatience patience = nullptr);
  // Gives what is left to the sink.
  ~ConsoleStreamBuffer() override;
  ConsoleStreamBuffer(const ConsoleStreamBuffer&) = delete;
  ConsoleStreamBuffer& operator=(const ConsoleStreamBuffer&) = delete;

  // The errno value of the first failure; 0 while there was none.
  int error() const { return error_; }

 protected:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const wchar_t* text, std::streamsize count) override;
  int sync() override;

 private:
  bool Put(wchar_t character);
  bool Flush();

  Sink sink_;
  std::string pending_;
  int error_ = 0;
};

inline constexpr int kEndingPatienceMs = 1000;

// A stream of wide text to the console, always UTF-8, in the classic locale. What is left is
// flushed at its end. One thread at a time.
//
// A reader that takes nothing holds the program up: a person may read page by page. Once a
// termination request has come, the stream fails when it is not read for a second.
class ConsoleStream : public std::wostream {
 public:
  // Writes to a descriptor that it doesn't own.
  explicit ConsoleStream(int descriptor);
  explicit ConsoleStream(ConsoleStreamBuffer::Sink sink);

  // Flushes. Why something of what was printed is lost, an errno value; 0 when nothing is, and when
  // it was the reader that went away or took nothing.
  int LostOutputError();
  // How many milliseconds it waits for a reader that takes nothing, as things are now; negative for
  // ever.
  int PatienceMs() const;

 private:
  friend class ScopedConsolePatience;

  WritePatience patience_;  // none: with a person, for ever
  ConsoleStreamBuffer buffer_;
};

// The process's standard output: all that the program prints on descriptor 1 goes through it. For
// the entry point; everything else is given its stream.
ConsoleStream& StandardOutput();

// Sets how long a stream waits while this lives; a termination request shortens it all the same. At
// its end what is left goes to the reader. One at a time for a stream.
class ScopedConsolePatience {
 public:
  ScopedConsolePatience(ConsoleStream& stream, WritePatience patience);
  ~ScopedConsolePatience();
  ScopedConsolePatience(const ScopedConsolePatience&) = delete;
  ScopedConsolePatience& operator=(const ScopedConsolePatience&) = delete;

 private:
  ConsoleStream& stream_;
};

// A newline and a flush.
void EndLine(std::wostream& stream);

// Writes `text` with each byte widened to the character of that code.
void WriteWidened(std::wostream& stream, std::string_view text);

// Writes `text`, decoded from UTF-8, as a part of one line: no character in it is layout.
void WriteInLine(std::wostream& stream, std::string_view text);

}  // namespace tarvex

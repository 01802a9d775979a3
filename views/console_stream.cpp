#include "views/console_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <locale>
#include <utility>

#include "system/outside_text.h"
#include "system/process_state.h"
#include "system/text_conversion.h"

namespace tarvex {
namespace {

constexpr int kStandardOutput = 1;
constexpr std::size_t kBufferSize = 8192;

// With a person.
int ForEver() {
  return -1;
}

// The character, or what is shown for one that would steer the terminal.
wchar_t Shown(wchar_t character) {
  const auto value = static_cast<std::uint32_t>(character);
  return IsSteering(value) && !IsLayout(value) ? kReplacement : character;
}

// A stream whose buffer is flushed when the process ends.
class StandardOutput {
 public:
  StandardOutput() : buffer_(kStandardOutput, ConsolePatienceMs), stream_(&buffer_) {
    stream_.imbue(std::locale::classic());
  }
  std::wostream& stream() { return stream_; }
  int error() const { return buffer_.error(); }

  WritePatience patience = ForEver;

 private:
  ConsoleStreamBuffer buffer_;
  std::wostream stream_;
};

StandardOutput& TheOutput() {
  static StandardOutput output;
  return output;
}

}  // namespace

ConsoleStreamBuffer::ConsoleStreamBuffer(Sink sink) : sink_(std::move(sink)) {}

ConsoleStreamBuffer::ConsoleStreamBuffer(int descriptor, WritePatience patience)
    : sink_([descriptor, patience = std::move(patience)](const char* data, std::size_t size) {
        return WriteAll(descriptor, data, size, patience);
      }) {}

ConsoleStreamBuffer::~ConsoleStreamBuffer() {
  Flush();
}

ConsoleStreamBuffer::int_type ConsoleStreamBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) {
    return Flush() ? traits_type::not_eof(character) : traits_type::eof();
  }
  return Put(traits_type::to_char_type(character)) ? character : traits_type::eof();
}

std::streamsize ConsoleStreamBuffer::xsputn(const wchar_t* text, std::streamsize count) {
  std::streamsize taken = 0;
  while (taken < count && Put(text[taken])) {
    ++taken;
  }
  return taken;
}

int ConsoleStreamBuffer::sync() {
  return Flush() ? 0 : -1;
}

bool ConsoleStreamBuffer::Put(wchar_t character) {
  if (error_ != 0 || (pending_.size() >= kBufferSize && !Flush())) {
    return false;
  }
  AppendUtf8(pending_, Shown(character));
  return true;
}

bool ConsoleStreamBuffer::Flush() {
  if (!pending_.empty()) {
    error_ = sink_(pending_.data(), pending_.size());
  }
  pending_.clear();
  return error_ == 0;
}

std::wostream& ConsoleStream() {
  return TheOutput().stream();
}

int LostOutputError() {
  ConsoleStream().flush();
  const int error = TheOutput().error();
  return error == EPIPE || error == EBADF || error == ETIMEDOUT ? 0 : error;
}

int ConsolePatienceMs() {
  const int wanted = TheOutput().patience();
  const bool isLong = wanted < 0 || wanted > kEndingPatienceMs;
  return isLong && GetProcessState().abort.signalPassed ? kEndingPatienceMs : wanted;
}

ScopedConsolePatience::ScopedConsolePatience(WritePatience patience) {
  TheOutput().patience = std::move(patience);
}

ScopedConsolePatience::~ScopedConsolePatience() {
  ConsoleStream().flush();
  TheOutput().patience = ForEver;
}

void EndLine(std::wostream& stream) {
  stream.put(L'\n');
  stream.flush();
}

void WriteWidened(std::wostream& stream, std::string_view text) {
  std::array<wchar_t, 256> piece;
  while (!text.empty()) {
    const std::size_t size = std::min(text.size(), piece.size());
    std::transform(
        text.begin(), text.begin() + static_cast<std::ptrdiff_t>(size), piece.begin(),
        [](char byte) { return static_cast<wchar_t>(static_cast<unsigned char>(byte)); });
    stream.write(piece.data(), static_cast<std::streamsize>(size));
    text.remove_prefix(size);
  }
}

void WriteInLine(std::wostream& stream, std::string_view text) {
  stream << Utf8ToWideLenient(InLine(std::string(text)));
}

}  // namespace tarvex

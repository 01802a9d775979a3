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

// The character, or what is shown for one that would steer the terminal.
wchar_t Shown(wchar_t character) {
  const auto value = static_cast<std::uint32_t>(character);
  return IsSteering(value) && !IsLayout(value) ? kReplacement : character;
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
  if (error_ != 0 || (pending_.size() >= kBufferSize && !Flush())) return false;
  AppendUtf8(pending_, Shown(character));
  return true;
}

bool ConsoleStreamBuffer::Flush() {
  if (!pending_.empty()) error_ = sink_(pending_.data(), pending_.size());
  pending_.clear();
  return error_ == 0;
}

ConsoleStream::ConsoleStream(int descriptor)
    : std::wostream(nullptr), buffer_(descriptor, [this] { return PatienceMs(); }) {
  rdbuf(&buffer_);
  imbue(std::locale::classic());
}

ConsoleStream::ConsoleStream(ConsoleStreamBuffer::Sink sink)
    : std::wostream(nullptr), buffer_(std::move(sink)) {
  rdbuf(&buffer_);
  imbue(std::locale::classic());
}

int ConsoleStream::LostOutputError() {
  flush();
  const int error = buffer_.error();
  return error == EPIPE || error == EBADF || error == ETIMEDOUT ? 0 : error;
}

int ConsoleStream::PatienceMs() const {
  const int wanted = patience_ ? patience_() : -1;
  const bool isLong = wanted < 0 || wanted > kEndingPatienceMs;
  return isLong && GetProcessState().abort.signalPassed ? kEndingPatienceMs : wanted;
}

ConsoleStream& StandardOutput() {
  static ConsoleStream output(kStandardOutput);
  return output;
}

ScopedConsolePatience::ScopedConsolePatience(ConsoleStream& stream, WritePatience patience)
    : stream_(stream) {
  stream_.patience_ = std::move(patience);
}

ScopedConsolePatience::~ScopedConsolePatience() {
  stream_.flush();
  stream_.patience_ = nullptr;
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

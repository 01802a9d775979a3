#include "service/remote/words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "boundary/ascii_case.h"

namespace orvan::remote {
namespace {

using Kind = Outcome::Kind;

constexpr std::uint64_t kMebibyte = 1U << 20;

std::string Hex(std::uint64_t value) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "0x%llx", static_cast<unsigned long long>(value));
  return text.data();
}

std::string SignalText(int signal) {
  const char* const name = sigabbrev_np(signal);
  return "signal " + std::to_string(signal) +
         (name != nullptr ? " (SIG" + std::string(name) + ')' : std::string());
}

std::string StatusText(int status) {
  const std::string text = "status " + std::to_string(status);
  if (status == protocol::kExitNoConnection) return text + " (its connection was lost)";
  return text;
}

std::string MemoryText(const protocol::OutOfMemory& memory) {
  const std::string taken = std::to_string(memory.residentBytes / kMebibyte) + " MiB";
  const std::string limit = std::to_string(memory.limitBytes / kMebibyte) + " MiB";
  return memory.residentBytes > memory.limitBytes
             ? "took " + taken + " of memory, with a limit of " + limit
             : "asked for more memory than its limit of " + limit + ", with " + taken + " in use";
}

std::string EndText(const Outcome& outcome) {
  if (outcome.memory) return MemoryText(*outcome.memory);
  if (!outcome.end.isKnown) return "ended, and nobody can tell how";
  if (outcome.end.signal != 0) return "was ended by " + SignalText(outcome.end.signal);
  return "ended by itself, with " + StatusText(outcome.end.status);
}

std::string FrameText(const protocol::Frame& frame) {
  const std::string name(frame.library.data(), strnlen(frame.library.data(), frame.library.size()));
  return (name.empty() ? "?" : name) + '+' + Hex(frame.offset);
}

}  // namespace

std::string WhatBecame(const Outcome& outcome) {
  switch (outcome.kind) {
    case Kind::kDone:
      return "is done";
    case Kind::kStoppedLate:
      return "did not end in time when it was to stop";
    case Kind::kEnded:
      return EndText(outcome);
    case Kind::kLost:
      return "closed its connection";
    case Kind::kGarbage:
      return "said what is no answer";
    case Kind::kInKernel:
      return "hangs in the system and was left behind";
    case Kind::kStalled:
      return "was stopped or got no processor for too long";
    case Kind::kUntold:
      return "could not be told what to do: " + std::generic_category().message(outcome.error);
  }
  return "is unknown";
}

std::string WhatBecameInFull(const Outcome& outcome) {
  std::string text = WhatBecame(outcome);
  if (!outcome.crash) return text;
  if (outcome.crash->address != 0) text += " at address " + Hex(outcome.crash->address);
  const std::size_t count =
      std::min<std::size_t>(outcome.crash->count, outcome.crash->frames.size());
  for (std::size_t i = 0; i < count; ++i) {
    text += (i == 0 ? "; backtrace: " : " < ") + FrameText(outcome.crash->frames[i]);
  }
  return text;
}

std::string KeyOfText(const std::string& text) {
  std::string key;
  for (const char byte : text) {
    const bool isCapital = byte >= 'A' && byte <= 'Z';
    if (isCapital) key += '|';
    // "_" and "|" mean something in a key, and would be shown as it.
    key += byte == ' ' ? '_' : byte == '_' || byte == '|' ? '-' : tarvex::AsciiUpper(byte);
  }
  return key;
}

}  // namespace orvan::remote

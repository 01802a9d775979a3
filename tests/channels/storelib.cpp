// A storage controller library that says what happens to it. STORELIB_ANSWER is what it answers to
// a command; without it there is no entry. It uses the C library only, for parts of the C++ library
// in it might keep it loaded.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

void Say(const char* text, std::size_t size) {
  if (write(STDOUT_FILENO, text, size) < 0) _exit(9);
}

const struct Life {
  Life() { Say("loaded\n", 7); }
  ~Life() { Say("unloaded\n", 9); }
} kLife;

}  // namespace

#ifdef STORELIB_ANSWER
extern "C" __attribute__((visibility("default"))) std::uint32_t ProcessLibCommand(
    const unsigned char* block) {
  constexpr std::size_t kDataAt = 32;
  constexpr std::size_t kDataSize = 260;
  char line[100];
  std::size_t length = 0;
  const auto add = [&](const char* format, auto value) {
    length +=
        static_cast<std::size_t>(std::snprintf(line + length, sizeof line - length, format, value));
  };
  add("%s ", "command");
  for (std::size_t at = 0; at < kDataAt; ++at) add("%02x", block[at]);
  add("%c", '\n');
  Say(line, length);

  const unsigned char* data = nullptr;
  std::memcpy(&data, block + kDataAt, sizeof data);
  std::size_t zeros = 0;
  while (zeros < kDataSize && data[zeros] == 0) ++zeros;
  // A buffer in the caller's frame lies a little above this function's own.
  const auto distance =
      reinterpret_cast<std::uintptr_t>(data) - reinterpret_cast<std::uintptr_t>(&data);
  length = 0;
  add("data %zu", zeros);
  add(" %s\n", distance < 65536 ? "on the stack" : "elsewhere");
  Say(line, length);
  return STORELIB_ANSWER;
}
#endif

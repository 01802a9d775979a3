#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "boundary/hostlayer_console.h"
#include "host/key_decoder.h"

// Bytes at any pace: an odd byte first lets 60 ms pass. Escape counts only when it was fed, and
// what comes out is never more than what went in.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvex::KeyDecoder decoder;
  tarvex::KeyDecoder::TimePoint now{};
  std::size_t keys = 0;
  bool escapeFed = false;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] % 2 == 1) now += std::chrono::milliseconds(60);
    decoder.Feed(data[i], now);
    escapeFed = escapeFed || data[i] == kKeyEscape;
    for (int key = decoder.Next(now); key != kNoKey; key = decoder.Next(now)) {
      if (key == kKeyEscape && !escapeFed) std::abort();
      if (key < 0 || key > 255 || ++keys > i + 1) std::abort();
    }
  }
  return 0;
}

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "service/recording/fields.h"
#include "service/recording/recording.h"

// Any bytes are a recording or a fault with its line, never anything else; and what stands behind
// the last line's end changes nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const auto recording = orvan::recording::Recording::Parse(text);
    const std::size_t end = text.rfind('\n');
    const auto whole = orvan::recording::Recording::Parse(text.substr(0, end + 1) + "cut off");
    if (recording.LinesOf("storage").size() != whole.LinesOf("storage").size()) std::abort();
  } catch (const orvan::recording::RecordingFault& fault) {
    if (!std::string(fault.what()).starts_with("line ")) std::abort();
  }
  return 0;
}

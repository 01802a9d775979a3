#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "service/protocol/codec.h"
#include "service/protocol/to_worker.h"

// Any bytes that a worker hears: either no message, or one that is written in just these bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvan::protocol;
  const std::span bytes(reinterpret_cast<const std::byte*>(data), size);
  const std::optional<ToWorker> message = Decode<ToWorker>(bytes);
  if (!message) return 0;
  const bool same = std::visit(
      [bytes](const auto& said) {
        const auto again = Encode<ToWorker>(said);
        return again && std::ranges::equal(again->Bytes(), bytes);
      },
      *message);
  if (!same) std::abort();
  return 0;
}

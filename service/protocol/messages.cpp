#include "service/protocol/codec.h"
#include "service/protocol/from_worker.h"
#include "service/protocol/to_worker.h"

namespace orvan::protocol {

// Both directions compile whoever includes them.
template std::optional<ToWorker> Decode<ToWorker>(std::span<const std::byte>);
template std::optional<FromWorker> Decode<FromWorker>(std::span<const std::byte>);

}  // namespace orvan::protocol

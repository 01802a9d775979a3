#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "service/machine/block_reader.h"

// The messages between this library and its helper program, one per packet of a SOCK_SEQPACKET
// socket. Both are built together; the version catches a helper of another build. Each side checks
// every length and range that it gets.
namespace orvan::machine {

inline constexpr std::uint32_t kHelperProtocolVersion = 2;
inline constexpr std::size_t kPathBytes = 256;
inline constexpr std::uint32_t kMostReadsPerMessage = 64;
inline constexpr std::uint32_t kMostReadsOutstanding = kMostReadsInFlight + kMostReadsQueued;

enum class MessageKind : std::uint32_t {
  kOpen = 1,    // to the helper: OpenMessage, once
  kOpened = 2,  // its answer: OpenedMessage
  kRead = 3,    // to the helper: MessageHead, then `count` BlockRead
  kDone = 4,    // from the helper: MessageHead, then `count` BlockReadResult
  kProbe = 5,   // to the helper: ProbeMessage
  kProbed = 6,  // its answer: ProbedMessage
  kAsk = 7,     // to a helper that reads: MessageHead; is it alive?
  kAlive = 8,   // its answer: MessageHead
};

struct MessageHead {
  MessageKind kind = MessageKind::kOpen;
  std::uint32_t count = 0;
};

struct OpenMessage {
  MessageHead head{MessageKind::kOpen, kHelperProtocolVersion};
  std::uint32_t depth = 1;
  std::uint32_t largestReadBytes = 0;
  std::uint32_t timeLimitMs = 0;
  std::uint32_t fileSectorBytes = 0;
  std::uint64_t expectedDevice = 0;
  std::array<char, kPathBytes> device{};  // ends with a zero byte
};

struct OpenedMessage {
  MessageHead head{MessageKind::kOpened, 0};
  std::int32_t error = 0;
  std::uint32_t logicalSectorBytes = 0;
  std::uint32_t physicalSectorBytes = 0;
  std::uint32_t readerFault = 0;  // 1: `error` is of the reader, not of the device
  std::uint64_t sizeBytes = 0;
};

struct ReadMessage {
  MessageHead head{MessageKind::kRead, 0};
  std::array<BlockRead, kMostReadsPerMessage> reads{};
};

struct DoneMessage {
  MessageHead head{MessageKind::kDone, 0};
  std::array<BlockReadResult, kMostReadsPerMessage> results{};
};

struct ProbeMessage {
  MessageHead head{MessageKind::kProbe, kHelperProtocolVersion};
  std::array<char, kPathBytes> device{};  // empty: nothing to probe
  std::array<char, 4096> mountPoint{};    // empty: no file system use wanted
};

struct ProbedMessage {
  MessageHead head{MessageKind::kProbed, 0};
  std::uint32_t hasUse = 0;
  std::uint64_t usedBytes = 0;
  std::uint64_t freeBytes = 0;
  std::array<char, 32> tableType{};   // "gpt", "dos"; of a whole disk
  std::array<char, 32> fileSystem{};  // "ext4"
  std::array<char, 256> label{};
};

// The largest message of either side.
inline constexpr std::size_t kLargestMessageBytes = 8192;

template <typename T>
constexpr bool kIsMessage = std::is_trivially_copyable_v<T> && sizeof(T) <= kLargestMessageBytes;
static_assert(kIsMessage<OpenMessage> && kIsMessage<OpenedMessage> && kIsMessage<ReadMessage> &&
              kIsMessage<DoneMessage> && kIsMessage<ProbeMessage> && kIsMessage<ProbedMessage>);

// The bytes of a list message with `count` elements of type T.
template <typename T>
constexpr std::size_t ListBytes(std::uint32_t count) {
  return sizeof(MessageHead) + count * sizeof(T);
}

}  // namespace orvan::machine

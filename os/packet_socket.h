#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "os/descriptor.h"

namespace tarvex {

// Up to this size a packet goes through the socket; a larger one lies in memory that is sealed
// against every change and passed as a descriptor.
inline constexpr std::size_t kLargestInline = 32U << 10;
inline constexpr std::size_t kLargestPacket = 64U << 20;
inline constexpr std::size_t kMostDescriptors = 8;  // passed along with one packet

struct Packet {
  std::vector<std::byte> bytes;
  std::vector<Descriptor> descriptors;
};

// One end of a connection of whole packets between two processes. Sending is for any thread, for
// a packet goes out in one piece; receiving for one thread at a time.
class PacketSocket {
 public:
  PacketSocket() = default;
  explicit PacketSocket(Descriptor socket) : socket_(std::move(socket)) {}
  // Connects two ends. 0, or an errno.
  static int MakePair(PacketSocket& one, PacketSocket& other);

  // 0, or the errno of why the packet is not on its way: EPIPE or ECONNRESET when the other side is
  // gone, EMSGSIZE for one that is too large, EAGAIN when the other side takes none and
  // `mayWait` is not set.
  int Send(std::span<const std::byte> bytes, std::span<const int> descriptors, bool mayWait) const;

  enum class Receipt {
    kPacket,
    kNothing,  // there is none
    kClosed,   // the other side is gone
    kBroken,   // what came is no packet of ours, or there is no socket any more
  };
  // Takes the next packet when there is one; never waits.
  Receipt Receive(Packet& packet) const;

  int Get() const { return socket_.Get(); }
  Descriptor& Owned() { return socket_; }

 private:
  Descriptor socket_;
};

}  // namespace tarvex

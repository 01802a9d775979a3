#pragma once

#include <cerrno>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "os/packet_socket.h"
#include "service/protocol/codec.h"

namespace orvan::protocol {

// One end of the connection: messages of Out go out, those of In come in. Sending is for any
// thread, receiving for one thread at a time.
template <typename Out, typename In>
class Channel {
 public:
  Channel() = default;
  explicit Channel(tarvex::PacketSocket socket) : socket_(std::move(socket)) {}

  // 0, or the errno of PacketSocket::Send; EMSGSIZE, too, for a message that holds too much.
  template <typename Message>
  int Send(const Message& message, bool mayWait, std::span<const int> descriptors = {}) const {
    const auto bytes = Encode<Out>(message);
    return bytes ? socket_.Send(bytes->Bytes(), descriptors, mayWait) : EMSGSIZE;
  }

  using Receipt = tarvex::PacketSocket::Receipt;
  // Takes the next message when there is one; never waits. Descriptors that nobody takes are
  // closed.
  Receipt Receive(std::optional<In>& message, std::vector<tarvex::Descriptor>* descriptors) {
    const Receipt receipt = socket_.Receive(packet_);
    if (receipt != Receipt::kPacket) return receipt;
    message = Decode<In>(packet_.bytes);
    const bool isOurs = message && (descriptors != nullptr || packet_.descriptors.empty());
    if (isOurs && descriptors != nullptr) *descriptors = std::move(packet_.descriptors);
    packet_.descriptors.clear();
    return isOurs ? receipt : Receipt::kBroken;
  }

  const tarvex::PacketSocket& Socket() const { return socket_; }

 private:
  tarvex::PacketSocket socket_;
  tarvex::Packet packet_;  // of the last receipt, for its room
};

}  // namespace orvan::protocol

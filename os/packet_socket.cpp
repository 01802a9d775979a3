#include "os/packet_socket.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "os/sealed_memory.h"

namespace tarvex {
namespace {

// The first byte of a packet says where the rest is.
constexpr std::uint8_t kInline = 0;
constexpr std::uint8_t kInMemory = 1;

union Control {
  char bytes[CMSG_SPACE(sizeof(int) * kMostDescriptors)];
  cmsghdr aligned;
};

int SendPieces(int socket, std::uint8_t form, std::span<const std::byte> bytes,
               std::span<const int> descriptors, bool mayWait) {
  std::array<iovec, 2> pieces{iovec{&form, 1},
                              iovec{const_cast<std::byte*>(bytes.data()), bytes.size()}};
  msghdr message{};
  message.msg_iov = pieces.data();
  message.msg_iovlen = pieces.size();
  Control control{};
  if (!descriptors.empty()) {
    message.msg_control = control.bytes;
    message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
    cmsghdr* const head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(descriptors.size_bytes());
    std::memcpy(CMSG_DATA(head), descriptors.data(), descriptors.size_bytes());
  }
  ssize_t sent = -1;
  do {
    sent = sendmsg(socket, &message, MSG_NOSIGNAL | (mayWait ? 0 : MSG_DONTWAIT));
  } while (sent < 0 && errno == EINTR);
  return sent < 0 ? errno : 0;
}

// Owns every descriptor of a message, so that none is lost on any way out.
std::vector<Descriptor> TakeDescriptors(msghdr& message) {
  std::vector<Descriptor> taken;
  for (cmsghdr* head = CMSG_FIRSTHDR(&message); head != nullptr;
       head = CMSG_NXTHDR(&message, head)) {
    if (head->cmsg_level != SOL_SOCKET || head->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (head->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int number = -1;
      std::memcpy(&number, CMSG_DATA(head) + i * sizeof(int), sizeof(number));
      taken.emplace_back(number);
    }
  }
  return taken;
}

PacketSocket::Receipt ReceiptOf(int error) {
  if (error == EAGAIN || error == EINTR) return PacketSocket::Receipt::kNothing;
  return error == ECONNRESET ? PacketSocket::Receipt::kClosed : PacketSocket::Receipt::kBroken;
}

}  // namespace

int PacketSocket::MakePair(PacketSocket& one, PacketSocket& other) {
  std::array<int, 2> ends{-1, -1};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) return errno;
  one = PacketSocket(Descriptor(ends[0]));
  other = PacketSocket(Descriptor(ends[1]));
  return 0;
}

int PacketSocket::Send(std::span<const std::byte> bytes, std::span<const int> descriptors,
                       bool mayWait) const {
  if (bytes.size() > kLargestPacket || descriptors.size() >= kMostDescriptors) return EMSGSIZE;
  if (bytes.size() <= kLargestInline) {
    return SendPieces(socket_.Get(), kInline, bytes, descriptors, mayWait);
  }
  Descriptor memory;
  if (const int error = MakeSealedMemory(bytes, memory); error != 0) return error;
  std::array<int, kMostDescriptors> all{memory.Get()};
  std::copy(descriptors.begin(), descriptors.end(), all.begin() + 1);
  return SendPieces(socket_.Get(), kInMemory, {}, std::span(all).first(descriptors.size() + 1),
                    mayWait);
}

PacketSocket::Receipt PacketSocket::Receive(Packet& packet) const {
  std::uint8_t form = kInline;
  packet.bytes.resize(kLargestInline);
  std::array<iovec, 2> pieces{iovec{&form, 1}, iovec{packet.bytes.data(), packet.bytes.size()}};
  msghdr message{};
  message.msg_iov = pieces.data();
  message.msg_iovlen = pieces.size();
  Control control{};
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof(control.bytes);
  constexpr int kFlags = MSG_DONTWAIT | MSG_CMSG_CLOEXEC;
  ssize_t got = recvmsg(socket_.Get(), &message, kFlags);
  // That it is gone is told before what it has said; that comes next.
  if (got < 0 && errno == ECONNRESET) got = recvmsg(socket_.Get(), &message, kFlags);
  if (got < 0) return ReceiptOf(errno);
  packet.descriptors = TakeDescriptors(message);
  // An empty packet looks like the end, and we send none.
  if (got == 0) return Receipt::kClosed;
  if ((message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) return Receipt::kBroken;
  packet.bytes.resize(static_cast<std::size_t>(got) - 1);
  if (form == kInline) return Receipt::kPacket;
  if (form != kInMemory || !packet.bytes.empty() || packet.descriptors.empty()) {
    return Receipt::kBroken;
  }
  const Descriptor memory = std::move(packet.descriptors.front());
  packet.descriptors.erase(packet.descriptors.begin());
  return ReadSealedMemory(memory, kLargestPacket, packet.bytes) ? Receipt::kPacket
                                                                : Receipt::kBroken;
}

}  // namespace tarvex

#include "os/packet_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "os/sealed_memory.h"

namespace tarvex {
namespace {

using Receipt = PacketSocket::Receipt;

std::vector<std::byte> Pattern(std::size_t size) {
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(i * 7 + i / 256);
  return bytes;
}

class PacketSocketTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(PacketSocket::MakePair(here_, there_), 0); }
  // Sends bytes as they are, with a descriptor when there is one.
  void SendRaw(const std::vector<std::uint8_t>& bytes, int descriptor = -1) {
    iovec piece{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
    msghdr message{};
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    if (descriptor >= 0) {
      message.msg_control = control.data();
      message.msg_controllen = control.size();
      cmsghdr* const head = CMSG_FIRSTHDR(&message);
      head->cmsg_level = SOL_SOCKET;
      head->cmsg_type = SCM_RIGHTS;
      head->cmsg_len = CMSG_LEN(sizeof(int));
      std::memcpy(CMSG_DATA(head), &descriptor, sizeof(int));
    }
    ASSERT_EQ(sendmsg(there_.Get(), &message, 0), static_cast<ssize_t>(bytes.size()));
  }
  Receipt Take() { return here_.Receive(packet_); }

  PacketSocket here_;
  PacketSocket there_;
  Packet packet_;
};

TEST_F(PacketSocketTest, PacketsOfEachSizePassWholeAndInOrder) {
  for (const std::size_t size : {std::size_t{1}, kLargestInline, kLargestInline + 1,
                                 std::size_t{1} << 20}) {
    ASSERT_EQ(there_.Send(Pattern(size), {}, true), 0) << size;
  }
  for (const std::size_t size : {std::size_t{1}, kLargestInline, kLargestInline + 1,
                                 std::size_t{1} << 20}) {
    ASSERT_EQ(Take(), Receipt::kPacket) << size;
    EXPECT_EQ(packet_.bytes, Pattern(size));
    EXPECT_TRUE(packet_.descriptors.empty());
  }
  EXPECT_EQ(Take(), Receipt::kNothing);
}

TEST_F(PacketSocketTest, DescriptorsComeAlongAndAreClosedInChildren) {
  const Descriptor file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  for (const std::size_t size : {std::size_t{1}, kLargestInline + 1}) {
    ASSERT_EQ(there_.Send(Pattern(size), std::array{file.Get(), file.Get()}, true), 0);
    ASSERT_EQ(Take(), Receipt::kPacket);
    EXPECT_EQ(packet_.bytes, Pattern(size));
    ASSERT_EQ(packet_.descriptors.size(), 2U);
    EXPECT_EQ(fcntl(packet_.descriptors[0].Get(), F_GETFD), FD_CLOEXEC);
  }
}

TEST_F(PacketSocketTest, WhatIsTooLargeIsNotSent) {
  EXPECT_EQ(there_.Send(std::vector<std::byte>(kLargestPacket + 1), {}, true), EMSGSIZE);
  EXPECT_EQ(Take(), Receipt::kNothing);
}

TEST_F(PacketSocketTest, AFullSocketIsToldToWhoDoesNotWait) {
  int error = 0;
  while (error == 0) error = there_.Send(Pattern(1000), {}, false);
  EXPECT_EQ(error, EAGAIN);
}

TEST_F(PacketSocketTest, WhatWasSaidBeforeTheEndIsHeardFirst) {
  // A packet that the other side never took makes its end a reset.
  ASSERT_EQ(here_.Send(Pattern(3), {}, true), 0);
  ASSERT_EQ(there_.Send(Pattern(5), {}, true), 0);
  there_ = PacketSocket();
  ASSERT_EQ(Take(), Receipt::kPacket);
  EXPECT_EQ(packet_.bytes, Pattern(5));
  EXPECT_EQ(Take(), Receipt::kClosed);
  EXPECT_EQ(here_.Send(Pattern(1), {}, true), EPIPE);
}

TEST_F(PacketSocketTest, AFormThatIsNoneIsBroken) {
  SendRaw({2, 0, 0});
  EXPECT_EQ(Take(), Receipt::kBroken);
}

TEST_F(PacketSocketTest, APacketThatIsTooLongForItsPlaceIsBroken) {
  SendRaw(std::vector<std::uint8_t>(kLargestInline + 2, 0));
  EXPECT_EQ(Take(), Receipt::kBroken);
}

TEST_F(PacketSocketTest, MemoryThatIsNotThereOrNotSealedIsBroken) {
  SendRaw({1});
  EXPECT_EQ(Take(), Receipt::kBroken);
  const Descriptor open(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  ASSERT_EQ(write(open.Get(), "abc", 3), 3);
  SendRaw({1}, open.Get());
  EXPECT_EQ(Take(), Receipt::kBroken);
  ASSERT_EQ(fcntl(open.Get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW), 0);
  SendRaw({1}, open.Get());
  EXPECT_EQ(Take(), Receipt::kBroken);
  ASSERT_EQ(fcntl(open.Get(), F_ADD_SEALS, F_SEAL_WRITE), 0);
  SendRaw({1}, open.Get());
  EXPECT_EQ(Take(), Receipt::kPacket);
  EXPECT_EQ(packet_.bytes.size(), 3U);
}

TEST_F(PacketSocketTest, MemoryBesideBytesIsBroken) {
  Descriptor memory;
  ASSERT_EQ(MakeSealedMemory(Pattern(3), memory), 0);
  SendRaw({1, 5}, memory.Get());
  EXPECT_EQ(Take(), Receipt::kBroken);
}

TEST(SealedMemory, IsReadUpToItsLimit) {
  Descriptor memory;
  ASSERT_EQ(MakeSealedMemory(Pattern(100), memory), 0);
  std::vector<std::byte> content;
  EXPECT_FALSE(ReadSealedMemory(memory, 99, content));
  EXPECT_TRUE(ReadSealedMemory(memory, 100, content));
  EXPECT_EQ(content, Pattern(100));
  EXPECT_EQ(pwrite(memory.Get(), "x", 1, 0), -1);
}

TEST(PacketSocket, OneThatWasClosedIsBroken) {
  PacketSocket closed;
  Packet packet;
  EXPECT_EQ(closed.Receive(packet), Receipt::kBroken);
}

}  // namespace
}  // namespace tarvex

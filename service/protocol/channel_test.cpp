#include "service/protocol/channel.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "service/protocol/from_worker.h"
#include "service/protocol/to_worker.h"

namespace orvan::protocol {
namespace {

using Receipt = tarvex::PacketSocket::Receipt;

class ChannelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tarvex::PacketSocket one;
    tarvex::PacketSocket other;
    ASSERT_EQ(tarvex::PacketSocket::MakePair(one, other), 0);
    program = Channel<ToWorker, FromWorker>(std::move(one));
    worker = Channel<FromWorker, ToWorker>(std::move(other));
  }

  Channel<ToWorker, FromWorker> program;
  Channel<FromWorker, ToWorker> worker;
  std::optional<ToWorker> message;
  std::vector<tarvex::Descriptor> descriptors;
  const std::array<int, 1> standardInput{STDIN_FILENO};
};

TEST_F(ChannelTest, AMessageArrivesWithItsDescriptors) {
  ASSERT_EQ(program.Send(Scan{7, true}, false, standardInput), 0);
  ASSERT_EQ(worker.Receive(message, &descriptors), Receipt::kPacket);
  EXPECT_EQ(std::get<Scan>(*message).request, 7U);
  EXPECT_EQ(descriptors.size(), 1U);
  EXPECT_EQ(worker.Receive(message, &descriptors), Receipt::kNothing);
}

TEST_F(ChannelTest, DescriptorsThatNobodyExpectsAreAFault) {
  ASSERT_EQ(program.Send(Scan{7, true}, false, standardInput), 0);
  EXPECT_EQ(worker.Receive(message, nullptr), Receipt::kBroken);
}

TEST_F(ChannelTest, WhatIsNoMessageIsAFault) {
  const std::array<std::byte, 3> bytes{};
  ASSERT_EQ(program.Socket().Send(bytes, {}, false), 0);
  EXPECT_EQ(worker.Receive(message, nullptr), Receipt::kBroken);
}

TEST_F(ChannelTest, AMessageThatHoldsTooMuchIsNotSent) {
  EXPECT_EQ(program.Send(ToolAnswer{1, true, {std::string(kLongestText + 1, 'x')}}, false),
            EMSGSIZE);
  EXPECT_EQ(worker.Receive(message, nullptr), Receipt::kNothing);
}

}  // namespace
}  // namespace orvan::protocol

#include "service/machine/helper_protocol.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "service/machine/helper_process.h"
#include "service/machine/reader_test_support.h"

namespace orvan::machine {
namespace {

using namespace std::chrono_literals;

TEST(HelperProcess, HasAnEmptyEnvironment) {
  int error = 0;
  const auto helper = HelperProcess::Start(HelperPath(), error);
  ASSERT_NE(helper, nullptr);
  std::ifstream environment("/proc/" + std::to_string(helper->Id()) + "/environ");
  ASSERT_TRUE(environment.is_open());
  EXPECT_EQ(environment.peek(), std::ifstream::traits_type::eof());
}

// What a client that breaks the protocol gets: the end of the connection, and no answer.
class HelperProtocol : public testing::Test {
 protected:
  void SetUp() override {
    int error = 0;
    helper_ = HelperProcess::Start(HelperPath(), error);
    ASSERT_NE(helper_, nullptr) << "error " << error;
  }

  OpenMessage Opening() const {
    OpenMessage open;
    open.depth = 2;
    open.largestReadBytes = 8 * kSector;
    open.timeLimitMs = 5000;
    open.fileSectorBytes = kSector;
    std::copy(file_.Path().begin(), file_.Path().end(), open.device.begin());
    return open;
  }

  void Open() {
    const OpenMessage open = Opening();
    ASSERT_TRUE(helper_->Send(&open, sizeof(open)));
    ASSERT_EQ(Answer(), HelperProcess::Receipt::kMessage);
  }

  HelperProcess::Receipt Answer() {
    std::array<std::byte, kLargestMessageBytes> buffer{};
    std::size_t size = 0;
    return helper_->Receive(buffer.data(), buffer.size(), size, 5000ms);
  }

  void ExpectRefused(const ReadMessage& message, std::size_t size) {
    ASSERT_TRUE(helper_->Send(&message, size));
    EXPECT_EQ(Answer(), HelperProcess::Receipt::kClosed);
  }

  DiskFile file_;
  std::unique_ptr<HelperProcess> helper_;
};

TEST_F(HelperProtocol, RefusesAnOpeningThatIsNotWhole) {
  const OpenMessage open = Opening();
  ASSERT_TRUE(helper_->Send(&open, sizeof(open) - 1));
  EXPECT_EQ(Answer(), HelperProcess::Receipt::kClosed);
}

TEST_F(HelperProtocol, RefusesAnotherVersion) {
  OpenMessage open = Opening();
  ++open.head.count;
  ASSERT_TRUE(helper_->Send(&open, sizeof(open)));
  EXPECT_EQ(Answer(), HelperProcess::Receipt::kClosed);
}

TEST_F(HelperProtocol, RefusesANameWithoutEnd) {
  OpenMessage open = Opening();
  open.device.fill('x');
  ASSERT_TRUE(helper_->Send(&open, sizeof(open)));
  EXPECT_EQ(Answer(), HelperProcess::Receipt::kClosed);
}

TEST_F(HelperProtocol, RefusesDepthAndSizeOutOfRange) {
  OpenMessage open = Opening();
  open.depth = 0;
  ASSERT_TRUE(helper_->Send(&open, sizeof(open)));
  EXPECT_EQ(Answer(), HelperProcess::Receipt::kClosed);
}

TEST_F(HelperProtocol, RefusesReadsBeforeTheOpening) {
  ReadMessage message;
  message.head.count = 1;
  message.reads[0] = {1, 0, kSector, 0};
  ExpectRefused(message, ListBytes<BlockRead>(1));
}

TEST_F(HelperProtocol, RefusesAListOfAnotherLengthThanItSays) {
  Open();
  ReadMessage message;
  message.head.count = 2;
  message.reads[0] = {1, 0, kSector, 0};
  ExpectRefused(message, ListBytes<BlockRead>(1));
}

TEST_F(HelperProtocol, RefusesReadsThatLeaveTheDevice) {
  Open();
  ReadMessage message;
  message.head.count = 1;
  message.reads[0] = {1, (kSectors - 1) * kSector, 2 * kSector, 0};
  ExpectRefused(message, ListBytes<BlockRead>(1));
}

TEST_F(HelperProtocol, RefusesReadsWhoseEndOverflows) {
  Open();
  ReadMessage message;
  message.head.count = 1;
  message.reads[0] = {1, ~std::uint64_t{0} - kSector + 1, kSector, 0};
  ExpectRefused(message, ListBytes<BlockRead>(1));
}

TEST_F(HelperProtocol, RefusesReadsThatAreTooLargeOrNotWholeSectors) {
  Open();
  ReadMessage message;
  message.head.count = 1;
  message.reads[0] = {1, 512, kSector, 0};
  ExpectRefused(message, ListBytes<BlockRead>(1));
}

TEST_F(HelperProtocol, AReadingHelperSaysThatItIsAlive) {
  Open();
  const MessageHead question{MessageKind::kAsk, 0};
  ASSERT_TRUE(helper_->Send(&question, sizeof(question)));
  MessageHead answer;
  std::size_t size = 0;
  ASSERT_EQ(helper_->Receive(&answer, sizeof(answer), size, 5000ms),
            HelperProcess::Receipt::kMessage);
  EXPECT_EQ(size, sizeof(answer));
  EXPECT_EQ(answer.kind, MessageKind::kAlive);
}

TEST_F(HelperProtocol, TheHelperEndsWhenItsOwnerCloses) {
  Open();
  const std::string folder = "/proc/" + std::to_string(helper_->Id());
  ASSERT_EQ(access(folder.c_str(), F_OK), 0);
  helper_.reset();
  EXPECT_NE(access(folder.c_str(), F_OK), 0);
}

TEST_F(HelperProtocol, TheHelperHasNoTerminalAndNoOtherDescriptors) {
  const auto count = [this](const std::string& what) {
    const std::string folder = "/proc/" + std::to_string(helper_->Id()) + what;
    return std::distance(std::filesystem::directory_iterator(folder), {});
  };
  // The answer proves that the helper runs its own code by now.
  ProbeMessage question;
  ASSERT_TRUE(helper_->Send(&question, sizeof(question)));
  ASSERT_EQ(Answer(), HelperProcess::Receipt::kMessage);
  EXPECT_EQ(count("/fd"), 3);
  EXPECT_EQ(getsid(helper_->Id()), helper_->Id());
}

}  // namespace
}  // namespace orvan::machine

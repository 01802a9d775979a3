#include "service/remote/worker_keeper.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "os/packet_socket.h"

namespace orvan::remote {
namespace {

constexpr char kSleeper[] = "/bin/cat";  // waits for its input, which is /dev/null, no longer

class WorkerKeeperTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(tarvex::PacketSocket::MakePair(ours_, theirs_), 0); }
  tarvex::PacketSocket ours_;
  tarvex::PacketSocket theirs_;
};

TEST_F(WorkerKeeperTest, AProgramThatIsNotThereIsToldAtOnce) {
  WorkerKeeper keeper("/nowhere/worker");
  tarvex::ChildProcess worker;
  EXPECT_EQ(keeper.Start(theirs_.Owned(), worker), ENOENT);
  EXPECT_FALSE(worker.IsThere());
}

TEST_F(WorkerKeeperTest, LeavesNoZombieOfWhatItBuries) {
  std::vector<pid_t> ids;
  {
    WorkerKeeper keeper(kSleeper);
    for (int i = 0; i < 20; ++i) {
      tarvex::ChildProcess worker;
      ASSERT_EQ(keeper.Start(theirs_.Owned(), worker), 0);
      ids.push_back(worker.Id());
      keeper.Bury(std::move(worker));
    }
    const auto isGone = [](pid_t id) { return kill(id, 0) != 0 && errno == ESRCH; };
    for (const pid_t id : ids) {
      for (int i = 0; i < 2000 && !isGone(id); ++i) std::this_thread::yield(), usleep(1000);
      EXPECT_TRUE(isGone(id));
    }
  }
}

TEST_F(WorkerKeeperTest, ServesManyThreads) {
  WorkerKeeper keeper(kSleeper);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      tarvex::ChildProcess worker;
      EXPECT_EQ(keeper.Start(theirs_.Owned(), worker), 0);
      EXPECT_TRUE(worker.IsThere());
      keeper.Bury(std::move(worker));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace orvan::remote

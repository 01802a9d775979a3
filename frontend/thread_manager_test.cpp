#include "frontend/thread_manager.h"

#include <thread>

#include "frontend/thread_completion.h"
#include "tests/fakes/front_end_test.h"

namespace {

constexpr std::chrono::minutes kLong{2};

class ThreadManagerTest : public FrontEndTest {
 protected:
  ThreadManagerTest() { storage = &AddStorage(); }
  ~ThreadManagerTest() override {
    if (manager == nullptr) return;
    manager->Stop();
    manager.reset();
  }
  ThreadManager& Make() {
    manager = std::make_unique<ThreadManager>();
    return *manager;
  }
  void Scan(ThreadManager& threads, ThreadCompletion& completion) {
    threads.SetTarget(storage);
    threads.StartScan(&completion);
    EXPECT_TRUE(completion.WaitDone(kLong));
  }
  // The semaphores in the order in which they were made.
  FakeSemaphore& Semaphore(std::size_t index) {
    return **std::next(host().semaphores.begin(), static_cast<std::ptrdiff_t>(index));
  }
  std::thread::id ThreadOf(const std::string& operation) {
    const std::lock_guard guard(service().lock);
    for (const auto& [name, id] : service().threads) {
      if (name == operation) return id;
    }
    return {};
  }

  FakeModule* storage;
  std::unique_ptr<ThreadManager> manager;
};

TEST_F(ThreadManagerTest, MakingItStartsItsNamedThread) {
  Make();
  EXPECT_EQ(host().threads.Names(), std::vector<std::string>{"ThreadManager"});
  EXPECT_EQ(host().threads.AfterStarts(), 1);
}

TEST_F(ThreadManagerTest, TheLockIsOneOfOneAndReadyIsNoneOfOne) {
  Make().Service();
  EXPECT_EQ(Semaphore(0).Initial(), 1);
  EXPECT_EQ(Semaphore(0).Maximum(), 1);
  EXPECT_EQ(Semaphore(1).Initial(), 0);
  EXPECT_EQ(Semaphore(1).Maximum(), 1);
}

TEST_F(ThreadManagerTest, TheServiceComesWithItsModules) {
  ThreadManager& threads = Make();
  EXPECT_EQ(threads.Service(), &service());
  EXPECT_EQ(threads.Modules(), &service().moduleList);
  EXPECT_EQ(service().Calls(),
            (std::vector<std::string>{"GetOrvanServiceInstance", "LoadModules(0)"}));
}

TEST_F(ThreadManagerTest, TheServiceMayBeAskedForAgain) {
  ThreadManager& threads = Make();
  threads.Service();
  EXPECT_EQ(threads.Service(), &service());
}

TEST_F(ThreadManagerTest, ModulesThatCannotBeLoadedAreNull) {
  service().modulesMissing = true;
  ThreadManager& threads = Make();
  EXPECT_EQ(threads.Service(), &service());
  EXPECT_EQ(threads.Modules(), nullptr);
}

TEST_F(ThreadManagerTest, AScanIsDoneByTheThread) {
  ThreadManager& threads = Make();
  threads.Service();
  ThreadCompletion completion;
  completion.Finish(7);
  Scan(threads, completion);
  EXPECT_EQ(completion.value, 0U);
  EXPECT_EQ(storage->scans, 1);
}

TEST_F(ThreadManagerTest, AScanClearsItsCompletionFirst) {
  ThreadManager& threads = Make();
  threads.Service();
  FakeSemaphore go;
  go.Init(0, 1);
  storage->onScan = [&go] { go.Wait(); };
  ThreadCompletion completion;
  completion.Finish(7);
  threads.SetTarget(storage);
  threads.StartScan(&completion);
  EXPECT_FALSE(completion.done);
  EXPECT_EQ(completion.value, 0U);
  go.Post();
  EXPECT_TRUE(completion.WaitDone(kLong));
}

TEST_F(ThreadManagerTest, AllLongCallsAreMadeByOneThread) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0"}), 0);
  cli->RunSelection();
  Stop();
  const std::thread::id thread = ThreadOf("LoadModules(0)");
  EXPECT_NE(thread, std::this_thread::get_id());
  for (const char* operation : {"GetOrvanServiceInstance", "ScanDevices(storage)",
                                "ExecuteDiagnostics(storage,0)", "ReleaseOrvanServiceInstance"}) {
    EXPECT_EQ(ThreadOf(operation), thread) << operation;
  }
}

TEST_F(ThreadManagerTest, RequestsFollowOneAnother) {
  ThreadManager& threads = Make();
  threads.Service();
  for (int i = 1; i <= 50; ++i) {
    ThreadCompletion completion;
    Scan(threads, completion);
    ASSERT_EQ(storage->scans, i);
  }
}

TEST_F(ThreadManagerTest, TheIdleThreadSleeps) {
  ThreadManager& threads = Make();
  threads.Service();
  ThreadCompletion completion;
  Scan(threads, completion);
  // It ends up blocked on the semaphore that a request gives, and asks for nothing meanwhile.
  Semaphore(2).AwaitWaiter();
  const int waits = Semaphore(0).Waits() + Semaphore(1).Waits() + Semaphore(2).Waits();
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  EXPECT_EQ(Semaphore(0).Waits() + Semaphore(1).Waits() + Semaphore(2).Waits(), waits);
}

TEST_F(ThreadManagerTest, TheLockIsFreeDuringAServiceCall) {
  ThreadManager& threads = Make();
  threads.Service();
  FakeSemaphore go;
  go.Init(0, 1);
  storage->onScan = [&go] { go.Wait(); };
  ThreadCompletion completion;
  threads.SetTarget(storage);
  threads.StartScan(&completion);
  go.AwaitWaiter();
  EXPECT_EQ(threads.Modules(), &service().moduleList) << "it takes the lock";
  EXPECT_EQ(Semaphore(0).Count(), 1);
  go.Post();
  EXPECT_TRUE(completion.WaitDone(kLong));
}

TEST_F(ThreadManagerTest, FinalResultCallsGoStraightThrough) {
  ThreadManager& threads = Make();
  threads.Service();
  CallerInfo caller;
  caller.appName = "Helm";
  threads.BeginFinalResult(99, caller);
  std::string text;
  threads.GetFinalResultCode(text, 87);
  EXPECT_EQ(service().finalResults.at(0).groupId, 99);
  EXPECT_EQ(service().finalResults.at(0).caller.appName, "Helm");
  EXPECT_EQ(service().finalResultSizes.at(0), 87);
  EXPECT_EQ(text, "FINAL-CODE");
}

TEST_F(ThreadManagerTest, StopReleasesTheServiceAndWaitsForTheThread) {
  ThreadManager& threads = Make();
  threads.Service();
  threads.Stop();
  EXPECT_EQ(FakeServiceInstances(), 0);
  EXPECT_EQ(host().threads.Joins(), 1);
  EXPECT_EQ(host().threads.AwaitEnd("ThreadManager"), 0U);
  manager.reset();
  EXPECT_TRUE(host().semaphores.empty()) << "all semaphores are given back";
}

TEST_F(ThreadManagerTest, StopWaitsForTheScanUnderWay) {
  ThreadManager& threads = Make();
  threads.Service();
  std::atomic<bool> scanned{false};
  FakeSemaphore entered;
  entered.Init(0, 1);
  storage->onScan = [&] {
    entered.Post();
    std::this_thread::yield();
    scanned = true;
  };
  ThreadCompletion completion;
  threads.SetTarget(storage);
  threads.StartScan(&completion);
  entered.Wait();
  threads.Stop();
  EXPECT_TRUE(scanned);
  manager.reset();
}

TEST_F(ThreadManagerTest, WithoutAServiceTheThreadEndsWithTwoAndTheCallerStaysBlocked) {
  service().instanceMissing = true;
  ThreadManager& threads = Make();
  EXPECT_EQ(host().threads.AwaitEnd("ThreadManager"), 2U);
  EXPECT_FALSE(service().Called("LoadModules(0)"));
  FakeSemaphore& ready = Semaphore(1);
  std::thread caller([&threads] { EXPECT_EQ(threads.Service(), nullptr); });
  ready.AwaitWaiter();
  ready.Post();  // nobody else does
  caller.join();
}

TEST_F(ThreadManagerTest, TheSingletonIsMadeOnFirstUseAndAgainAfterItsEnd) {
  ThreadManager& first = ThreadManager::Instance();
  EXPECT_EQ(&ThreadManager::Instance(), &first);
  EXPECT_EQ(host().threads.Names().size(), 1U);
  first.Service();
  first.Stop();
  ThreadManager::Destroy();
  EXPECT_TRUE(host().semaphores.empty());
  EXPECT_EQ(ThreadManager::Instance().Service(), &service());
  EXPECT_EQ(host().threads.Names().size(), 2U);
  ThreadManager::Instance().Stop();
  ThreadManager::Destroy();
}

// The done flag of a scan.

TEST(ThreadCompletionTest, StartsUnfinishedWithZero) {
  ThreadCompletion completion;
  EXPECT_FALSE(completion.done);
  EXPECT_EQ(completion.value, 0U);
  EXPECT_FALSE(completion.WaitDone(std::chrono::milliseconds(0)));
}

TEST(ThreadCompletionTest, WakesTheWaitingThreadAtOnce) {
  ThreadCompletion completion;
  std::thread finisher([&completion] { completion.Finish(5); });
  const auto before = std::chrono::steady_clock::now();
  EXPECT_TRUE(completion.WaitDone(kLong));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::minutes(1));
  finisher.join();
  EXPECT_EQ(completion.value, 5U);
}

}  // namespace

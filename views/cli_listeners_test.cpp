#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "boundary/orvan_service_objects.h"
#include "tests/support/test_host.h"
#include "views/cli_event_queue.h"
#include "views/cli_suite_listener.h"
#include "views/cli_test_listener.h"

namespace {

class NamedTest : public DiagTest {
 public:
  NamedTest(std::string name, DiagKey key) : name_(std::move(name)), key_(key) {}
  std::string& Name(std::string& text) override { return text = name_; }
  DiagKey& Key(DiagKey& key) override { return key = key_; }
  bool AppliesTo(DiagDevice* /*device*/) override { return true; }
  bool NeedsOperator() override { return false; }
  std::vector<TestParameter>& DefaultParameters(std::vector<TestParameter>& out) override {
    return out;
  }
  std::vector<TestParameter>& GetParameters(std::vector<TestParameter>& out,
                                            DiagDevice* /*device*/) override {
    return out;
  }

 private:
  std::string name_;
  DiagKey key_;
};

class NamedDiagnostic : public DiagDiagnostic {
 public:
  explicit NamedDiagnostic(std::string name) : name_(std::move(name)) {}
  std::string& Name(std::string& text) override { return text = name_; }
  std::vector<DiagTest*>* Tests() override { return nullptr; }
  DiagKey& Key(DiagKey& key) override { return key; }

 private:
  std::string name_;
};

class SuiteListenerTest : public testing::Test {
 protected:
  SuiteListenerTest() { listener_.SetQueue(&queue_); }

  // The oldest event, which must be of that id, out of the queue.
  CliEvent Take(std::uint32_t id) {
    queue_.WaitForEvent();
    CliEvent event = *queue_.Front();
    queue_.Pop();
    EXPECT_EQ(event.id, id);
    return event;
  }
  TestSemaphore& queueLock() { return *host_->semaphores[0]; }
  TestSemaphore& diagnosticGate() { return *host_->semaphores[2]; }
  TestSemaphore& testGate() { return *host_->semaphores[3]; }

  ScopedTestHost host_;
  CliEventQueue queue_;
  CliSuiteListener listener_;
  NamedDiagnostic diagnostic_{"QUICK"};
  NamedTest test_{"READ", DiagKey{1, 2, 3, 4}};
};

TEST_F(SuiteListenerTest, ConstructionReadsTheClockForSixTicks) {
  EXPECT_EQ(host_->timer.now, 6U);
  // The third of the six.
  EXPECT_EQ(listener_.TestStart(), 2U);
  EXPECT_FALSE(listener_.TestFinished());
}

TEST_F(SuiteListenerTest, SuiteStartResetsAndReadsTheClockOnceForEachTick) {
  listener_.OnTestEnd(nullptr, nullptr, nullptr, 0);
  Take(kEventTestFinished);
  host_->timer.now = 100;
  EXPECT_TRUE(listener_.OnSuiteStart());
  EXPECT_EQ(host_->timer.now, 108U);
  EXPECT_EQ(listener_.TestStart(), 102U);
  EXPECT_EQ(listener_.SuiteStart(), 106U);
  EXPECT_EQ(listener_.SuiteEnd(), 107U);
  EXPECT_FALSE(listener_.TestFinished());
  EXPECT_EQ(Take(kEventSuiteStart).payload.index(), 0U);
}

TEST_F(SuiteListenerTest, SuiteEndStampsAndPosts) {
  host_->timer.now = 500;
  listener_.OnSuiteEnd();
  EXPECT_EQ(listener_.SuiteEnd(), 500U);
  EXPECT_EQ(Take(kEventSuiteFinished).payload.index(), 0U);
}

TEST_F(SuiteListenerTest, DiagnosticStartWaitsForItsAcknowledgement) {
  bool started = false;
  std::thread service([&] { started = listener_.OnDiagnosticStart(&diagnostic_); });
  const CliEvent event = Take(kEventDiagnosticStart);
  EXPECT_EQ(std::get<DiagnosticStartRecord>(event.payload).name, "QUICK");
  host_->semaphores[1]->AwaitWaiter();
  queue_.startAcknowledge.Post();
  service.join();
  EXPECT_TRUE(started);
  EXPECT_EQ(diagnosticGate().Count(), 0);
}

TEST_F(SuiteListenerTest, DiagnosticStartClearsTestFinished) {
  listener_.OnTestEnd(nullptr, nullptr, nullptr, 0);
  EXPECT_TRUE(listener_.TestFinished());
  queue_.startAcknowledge.Post();
  listener_.OnDiagnosticStart(&diagnostic_);
  EXPECT_FALSE(listener_.TestFinished());
}

TEST_F(SuiteListenerTest, SecondDiagnosticWaitsForTheGate) {
  std::thread service([&] {
    listener_.OnDiagnosticStart(&diagnostic_);
    listener_.OnDiagnosticEnd();
    listener_.OnDiagnosticStart(&diagnostic_);
  });
  Take(kEventDiagnosticStart);
  queue_.startAcknowledge.Post();
  Take(kEventDiagnosticFinished);
  diagnosticGate().AwaitWaiter();
  EXPECT_TRUE(queue_.IsEmpty());
  queue_.diagnosticGate.Post();
  Take(kEventDiagnosticStart);
  queue_.startAcknowledge.Post();
  service.join();
}

TEST_F(SuiteListenerTest, NullDiagnosticIsRefusedAndLeavesTheGateTaken) {
  EXPECT_FALSE(listener_.OnDiagnosticStart(nullptr));
  EXPECT_EQ(diagnosticGate().Count(), 0);
  EXPECT_TRUE(queue_.IsEmpty());
  std::thread service([&] { listener_.OnDiagnosticStart(nullptr); });
  diagnosticGate().AwaitWaiter();
  queue_.diagnosticGate.Post();
  service.join();
}

TEST_F(SuiteListenerTest, TestStartPostsNameAndKeyAndThenRunning) {
  listener_.OnTestEnd(nullptr, nullptr, nullptr, 0);
  Take(kEventTestFinished);
  host_->timer.now = 70;
  EXPECT_TRUE(listener_.OnTestStart(nullptr, &diagnostic_, &test_));
  EXPECT_FALSE(listener_.TestFinished());
  EXPECT_EQ(listener_.TestStart(), 70U);
  const CliEvent event = Take(kEventTestStart);
  const auto& record = std::get<TestStartRecord>(event.payload);
  EXPECT_EQ(record.name, "READ");
  EXPECT_EQ(record.key.major, 1U);
  EXPECT_EQ(record.key.minor, 2U);
  EXPECT_EQ(record.key.build, 3U);
  EXPECT_EQ(record.key.identifier, 4U);
  EXPECT_EQ(Take(kEventTestRunning).payload.index(), 0U);
  EXPECT_TRUE(queue_.IsEmpty());
  EXPECT_EQ(testGate().Count(), 0);
}

TEST_F(SuiteListenerTest, SecondTestWaitsForTheGate) {
  std::thread service([&] {
    listener_.OnTestStart(nullptr, nullptr, &test_);
    listener_.OnTestEnd(nullptr, nullptr, nullptr, 0);
    listener_.OnTestStart(nullptr, nullptr, &test_);
  });
  Take(kEventTestStart);
  Take(kEventTestRunning);
  Take(kEventTestFinished);
  testGate().AwaitWaiter();
  EXPECT_TRUE(queue_.IsEmpty());
  queue_.testGate.Post();
  Take(kEventTestStart);
  Take(kEventTestRunning);
  service.join();
}

TEST_F(SuiteListenerTest, NullTestIsRefusedAndLeavesTheGateTaken) {
  EXPECT_FALSE(listener_.OnTestStart(nullptr, nullptr, nullptr));
  EXPECT_EQ(testGate().Count(), 0);
  EXPECT_TRUE(queue_.IsEmpty());
  std::thread service([&] { listener_.OnTestStart(nullptr, nullptr, nullptr); });
  testGate().AwaitWaiter();
  queue_.testGate.Post();
  service.join();
}

TEST_F(SuiteListenerTest, TestEndSetsItsFlagBeforeTheEventExists) {
  bool finishedBeforePush = false;
  queueLock().onWait = [&] { finishedBeforePush = listener_.TestFinished(); };
  listener_.OnTestStart(nullptr, nullptr, &test_);
  EXPECT_FALSE(finishedBeforePush);
  host_->timer.now = 900;
  listener_.OnTestEnd(nullptr, nullptr, nullptr, 5);
  EXPECT_TRUE(finishedBeforePush);
  queueLock().onWait = nullptr;
  Take(kEventTestStart);
  Take(kEventTestRunning);
  const CliEvent event = Take(kEventTestFinished);
  const auto& record = std::get<TestFinishedRecord>(event.payload);
  EXPECT_EQ(record.status, 5U);
  EXPECT_EQ(record.start, listener_.TestStart());
  EXPECT_EQ(record.end, 900U);
}

TEST_F(SuiteListenerTest, TestEndWakesTheTestWatch) {
  std::thread service([&] { listener_.OnTestEnd(nullptr, nullptr, nullptr, 0); });
  EXPECT_TRUE(queue_.WaitForChange(std::chrono::minutes(5),
                                   [this](bool) { return listener_.TestFinished(); }));
  Take(kEventTestFinished);
  service.join();
}

TEST_F(SuiteListenerTest, DeviceStartAndEndPostTextAndTicks) {
  host_->timer.now = 40;
  EXPECT_TRUE(listener_.OnDeviceStart());
  host_->timer.now = 55;
  listener_.OnDeviceEnd(nullptr, nullptr, "W1-X");
  EXPECT_EQ(Take(kEventDeviceStart).payload.index(), 0U);
  const CliEvent event = Take(kEventDeviceFinished);
  const auto& record = std::get<DeviceFinishedRecord>(event.payload);
  EXPECT_EQ(record.text, "W1-X");
  EXPECT_EQ(record.start, 40U);
  EXPECT_EQ(record.end, 55U);
}

TEST_F(SuiteListenerTest, DeviceProgressAndSuiteMessageReachNobody) {
  listener_.OnDeviceProgress(50, "text");
  listener_.OnSuiteMessage("text");
  EXPECT_TRUE(queue_.IsEmpty());
}

TEST_F(SuiteListenerTest, UnheardOperationsAreThoseOfTheBase) {
  orvan_service::SuiteListenerView& base = listener_;
  EXPECT_TRUE(base.Reserved17());
  base.Reserved4();
  base.Reserved14();
  EXPECT_TRUE(queue_.IsEmpty());
}

TEST_F(SuiteListenerTest, WholePlanArrivesInOrder) {
  std::thread service([&] {
    listener_.OnSuiteStart();
    listener_.OnDeviceStart();
    for (int diagnostic = 0; diagnostic < 2; ++diagnostic) {
      listener_.OnDiagnosticStart(&diagnostic_);
      for (int test = 0; test < 2; ++test) {
        listener_.OnTestStart(nullptr, &diagnostic_, &test_);
        listener_.OnTestEnd(nullptr, &diagnostic_, &test_, 0);
      }
      listener_.OnDiagnosticEnd();
    }
    listener_.OnDeviceEnd(nullptr, nullptr, "R");
    listener_.OnSuiteEnd();
  });
  std::vector<std::uint32_t> ids;
  while (ids.empty() || ids.back() != kEventSuiteFinished) {
    queue_.WaitForEvent();
    ids.push_back(queue_.Front()->id);
    if (ids.back() == kEventDiagnosticStart) {
      queue_.startAcknowledge.Post();
    } else if (ids.back() == kEventTestRunning) {
      queue_.WaitForChange(std::chrono::minutes(5),
                           [this](bool) { return listener_.TestFinished(); });
    } else if (ids.back() == kEventTestFinished) {
      queue_.testGate.Post();
    } else if (ids.back() == kEventDiagnosticFinished) {
      queue_.diagnosticGate.Post();
    }
    queue_.Pop();
  }
  service.join();
  const std::vector<std::uint32_t> expected{1, 2, 3, 4, 5, 6, 4, 5, 6, 7,
                                            3, 4, 5, 6, 4, 5, 6, 7, 8, 9};
  EXPECT_EQ(ids, expected);
}

TEST(CliTestListener, StartsWithoutPercentAndMessage) {
  CliTestListener listener;
  EXPECT_EQ(listener.GetPercent(), -1);
  EXPECT_EQ(listener.GetMessage(), "");
}

TEST(CliTestListener, EmptyMessageChangesThePercentAndKeepsTheLastMessage) {
  CliTestListener listener;
  listener.OnTestReport(nullptr, nullptr, nullptr, 10, "MESSAGE");
  listener.OnTestReport(nullptr, nullptr, nullptr, 20, "");
  EXPECT_EQ(listener.GetPercent(), 20);
  EXPECT_EQ(listener.GetMessage(), "MESSAGE");
}

TEST(CliTestListener, LastMessageStandsUntilItIsCleared) {
  CliTestListener listener;
  listener.OnTestReport(nullptr, nullptr, nullptr, 10, "FIRST");
  listener.OnTestReport(nullptr, nullptr, nullptr, 10, "SECOND");
  EXPECT_EQ(listener.GetMessage(), "SECOND");
  EXPECT_EQ(listener.GetMessage(), "SECOND");
  listener.ClearMessage();
  EXPECT_EQ(listener.GetMessage(), "");
  EXPECT_EQ(listener.GetPercent(), 10);
}

TEST(CliTestListener, ResetPercentLeavesTheMessage) {
  CliTestListener listener;
  listener.OnTestReport(nullptr, nullptr, nullptr, 99, "M");
  listener.ResetPercent();
  EXPECT_EQ(listener.GetPercent(), -1);
  EXPECT_EQ(listener.GetMessage(), "M");
}

TEST(CliTestListener, NeverWantsInteraction) {
  CliTestListener listener;
  EXPECT_FALSE(listener.WantsInteraction());
  listener.OnTestReport(nullptr, nullptr, nullptr, 1, "M");
  EXPECT_FALSE(listener.WantsInteraction());
}

TEST(CliTestListener, ClearReplyAnswersZeroAndTakesNull) {
  CliTestListener listener;
  orvan_service::TestReply reply{7};
  listener.ClearReply(&reply);
  EXPECT_EQ(reply.reply, 0U);
  listener.ClearReply(nullptr);
}

TEST(CliTestListener, ReportsAndReadingsMayMeet) {
  CliTestListener listener;
  std::thread service([&listener] {
    for (int i = 0; i < 1000; ++i) {
      listener.OnTestReport(nullptr, nullptr, nullptr, i % 101, std::string(64, 'm'));
    }
  });
  for (int i = 0; i < 1000; ++i) {
    const std::string message = listener.GetMessage();
    EXPECT_TRUE(message.empty() || message == std::string(64, 'm'));
    EXPECT_GE(listener.GetPercent(), -1);
    listener.ClearMessage();
  }
  service.join();
}

}  // namespace

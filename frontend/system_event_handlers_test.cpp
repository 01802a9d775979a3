#include "frontend/system_event_handlers.h"

#include <mutex>
#include <thread>

#include "tests/fakes/front_end_test.h"

namespace {

using Words = std::vector<std::string>;

struct EventCase {
  std::uint32_t message;
  std::uint32_t parameter;
  std::uint32_t bit;
  std::intptr_t answer;
};

const EventCase kCases[] = {{536, 4, 32, 1},         {536, 6, 32, 1},  {689, 2, 16, 1},
                            {17, 0x80000000U, 8, 0}, {689, 7, 128, 1}, {17, 0, 1, 0}};

class SystemEventsTest : public FrontEndTest {
 protected:
  SystemEventsTest() { RegisterSystemEventHandlers(&host().events); }
  ~SystemEventsTest() override { ReleaseSystemEvents(); }
};

TEST_F(SystemEventsTest, TheHandlersAreRegisteredInTheirOrder) {
  ASSERT_EQ(host().events.rows.size(), std::size(kCases));
  for (std::size_t i = 0; i < std::size(kCases); ++i) {
    EXPECT_EQ(host().events.rows[i].message, kCases[i].message);
    EXPECT_EQ(host().events.rows[i].parameter, kCases[i].parameter);
  }
}

class EachEvent : public SystemEventsTest, public ::testing::WithParamInterface<EventCase> {};

TEST_P(EachEvent, SetsItsBitTellsTheServiceAndAnswers) {
  Start();
  std::intptr_t answer = 77;
  EXPECT_TRUE(host().events.Fire(GetParam().message, GetParam().parameter, &answer));
  EXPECT_EQ(GetProcessState().systemEventWord, GetParam().bit);
  EXPECT_EQ(answer, GetParam().answer);
  EXPECT_EQ(service().Calls().back(), "NotifySystemEvent(" + std::to_string(GetParam().bit) + ")");
}

TEST_P(EachEvent, TakesANullAnswer) {
  EXPECT_TRUE(host().events.Fire(GetParam().message, GetParam().parameter, nullptr));
  EXPECT_EQ(GetProcessState().systemEventWord, GetParam().bit);
}

TEST_P(EachEvent, IsKeptWhileThereIsNoService) {
  EXPECT_TRUE(host().events.Fire(GetParam().message, GetParam().parameter, nullptr));
  EXPECT_TRUE(service().Calls().empty());
  Start();
  EXPECT_TRUE(service().Called("NotifySystemEvent(" + std::to_string(GetParam().bit) + ")"));
}

TEST_P(EachEvent, WaitsOnlyWhenItIsHeld) {
  Start();
  HoldSystemEvents();
  std::mutex lock;
  Words order;
  const auto note = [&](const char* step) {
    const std::lock_guard guard(lock);
    order.emplace_back(step);
  };
  std::thread layer([&] {
    host().events.Fire(GetParam().message, GetParam().parameter, nullptr);
    note("returned");
  });
  service().AwaitCall("NotifySystemEvent(" + std::to_string(GetParam().bit) + ")");
  if ((GetParam().bit & 9U) == 0) layer.join();
  note("released");
  ReleaseSystemEvents();
  if (layer.joinable()) layer.join();
  EXPECT_EQ(order, (GetParam().bit & 9U) == 0 ? (Words{"returned", "released"})
                                              : (Words{"released", "returned"}));
}

INSTANTIATE_TEST_SUITE_P(Rows, EachEvent, ::testing::ValuesIn(kCases));

TEST_F(SystemEventsTest, BitsGatherInTheWord) {
  host().events.Fire(536, 4, nullptr);
  host().events.Fire(689, 7, nullptr);
  EXPECT_EQ(GetProcessState().systemEventWord, 32U | 128U);
}

TEST_F(SystemEventsTest, RegisteringAgainForgetsWhatHappened) {
  Start();
  host().events.Fire(536, 4, nullptr);
  RegisterSystemEventHandlers(&host().events);
  EXPECT_EQ(GetProcessState().systemEventWord, 0U);
  EXPECT_EQ(service().CountCalls("ClearSystemEvents"), 1);
  EXPECT_EQ(host().events.rows.size(), 6U);
}

TEST_F(SystemEventsTest, RegisteringWithoutAServiceOnlyClearsTheWord) {
  GetProcessState().systemEventWord = 8;
  RegisterSystemEventHandlers(&host().events);
  EXPECT_EQ(GetProcessState().systemEventWord, 0U);
  EXPECT_FALSE(service().Called("ClearSystemEvents"));
}

TEST_F(SystemEventsTest, TheEndOfTheApplicationObjectLetsHeldEventsGo) {
  Start();
  HoldSystemEvents();
  std::thread layer([] { TheFakeHost().events.Fire(17, 0, nullptr); });
  service().AwaitCall("NotifySystemEvent(1)");
  Stop();
  layer.join();
  EXPECT_EQ(GetProcessState().SystemEventHoldMask, 0U);
}

// Termination requests.

TEST_F(SystemEventsTest, ASignalAbortsTheRunWithItsArguments) {
  Start();
  EXPECT_EQ(host().signals.Fire(15, 7, 9), std::vector<bool>{true});
  ASSERT_EQ(service().aborts.size(), 1U);
  EXPECT_EQ(service().aborts[0].signal, 15);
  EXPECT_EQ(service().aborts[0].first, 7U);
  EXPECT_EQ(service().aborts[0].second, 9U);
  EXPECT_TRUE(GetProcessState().abort.signalPassed);
}

TEST_F(SystemEventsTest, AFurtherSignalDoesNothing) {
  Start();
  host().signals.Fire(2);
  EXPECT_EQ(host().signals.Fire(15), std::vector<bool>{true});
  EXPECT_EQ(service().aborts.size(), 1U);
}

TEST_F(SystemEventsTest, ASignalWithoutAServiceIsOnlyNoted) {
  Start();
  GetProcessState().service = nullptr;
  host().signals.Fire(2);
  EXPECT_TRUE(service().aborts.empty());
  EXPECT_TRUE(GetProcessState().abort.signalPassed);
}

TEST_F(SystemEventsTest, ANewApplicationObjectTakesSignalsAgain) {
  Start();
  host().signals.Fire(2);
  Stop();
  Start();
  EXPECT_FALSE(GetProcessState().abort.signalPassed);
  host().signals.Fire(2);
  EXPECT_EQ(service().aborts.size(), 2U);
}

}  // namespace

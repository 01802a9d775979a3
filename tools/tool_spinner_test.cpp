#include "tools/tool_spinner.h"

#include <atomic>
#include <future>
#include <optional>

#include "tests/fakes/tool_test.h"

namespace {

class ToolSpinnerTest : public ToolTest {};

TEST_F(ToolSpinnerTest, DrawsOnItsOwnThreadWhileAScanLives) {
  std::promise<std::thread::id> drawn;
  std::atomic<bool> first{true};
  {
    ToolSpinner spinner([] {},
                        [&] {
                          if (first.exchange(false)) drawn.set_value(std::this_thread::get_id());
                        });
    const ToolSpinner::Scan scan(spinner);
    EXPECT_NE(drawn.get_future().get(), std::this_thread::get_id());
  }
  EXPECT_EQ(host().threads.Names(), std::vector<std::string>{"ToolSpinner"});
  EXPECT_EQ(host().threads.AfterStarts(), 1);
  EXPECT_EQ(host().threads.Joins(), 1);
}

TEST_F(ToolSpinnerTest, DrawsNothingOnceTheScanIsOver) {
  host().timer.AdvanceWithEachLook(251);
  std::atomic<bool> over{false};
  std::atomic<bool> late{false};
  std::promise<void> drawn;
  std::atomic<bool> first{true};
  {
    ToolSpinner spinner([] {},
                        [&] {
                          if (over) late = true;
                          if (first.exchange(false)) drawn.set_value();
                        },
                        host().timer);
    std::optional<ToolSpinner::Scan> scan(spinner);
    drawn.get_future().wait();
    scan.reset();
    over = true;
    // A drawing is due with each turn of the thread, which looks at the time three times.
    host().timer.AwaitLooks(12);
  }
  EXPECT_FALSE(late);
}

TEST_F(ToolSpinnerTest, DrawsNothingBeforeAQuarterOfASecondIsOver) {
  std::atomic<int> drawings{0};
  std::promise<void> drawn;
  std::promise<void> begun;
  ToolSpinner spinner([&begun] { begun.set_value(); },
                      [&] {
                        if (++drawings == 1) drawn.set_value();
                      },
                      host().timer);
  const ToolSpinner::Scan scan(spinner);
  begun.get_future().wait();
  // The first look is where the thread counts from.
  host().timer.AwaitLooks(1);
  host().timer.Advance(250);
  host().timer.AwaitLooks(6);
  EXPECT_EQ(drawings, 0);
  host().timer.Advance(1);
  drawn.get_future().wait();
  EXPECT_EQ(drawings, 1);
}

TEST_F(ToolSpinnerTest, TheViewIsStartedOnceHoweverShortTheSearch) {
  std::atomic<int> starts{0};
  {
    const ToolSpinner spinner([&starts] { ++starts; }, [] { FAIL(); });
  }
  EXPECT_EQ(starts, 1);
}

TEST_F(ToolSpinnerTest, AnErrorOfTheSearchEndsTheThread) {
  try {
    ToolSpinner spinner([] {}, [] {});
    const ToolSpinner::Scan scan(spinner);
    throw std::out_of_range("search");
  } catch (const std::out_of_range&) {
    EXPECT_EQ(host().threads.Joins(), 1);
  }
  host().threads.AwaitEnd("ToolSpinner");
}

TEST_F(ToolSpinnerTest, WithoutAThreadTheSearchGoesOn) {
  host().threads.startResult = 11;
  ToolSpinner spinner([] { FAIL(); }, [] { FAIL(); });
  const ToolSpinner::Scan scan(spinner);
  EXPECT_EQ(host().threads.AfterStarts(), 0);
}

}  // namespace

#include "frontend/uncaught_error.h"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <thread>

#include "tools/tool_data_error.h"

namespace {

// Ends a child by what `fail` throws and nothing catches; the whole of its standard error is that
// line.
void ExpectEnd(void (*fail)(), const std::string& line) {
  EXPECT_EXIT(
      {
        tarvex::TellOfUncaughtErrors();
        [fail]() noexcept { fail(); }();
      },
      ::testing::KilledBySignal(SIGABRT), "^TarvexDiagnosticsCLI: " + line + "\n$");
}

using UncaughtErrorDeathTest = ::testing::Test;

TEST(UncaughtErrorDeathTest, IsOneLineWithTheErrorsText) {
  ExpectEnd([] { throw std::out_of_range("no such element"); }, "no such element");
}

TEST(UncaughtErrorDeathTest, TellsWhatWasMissing) {
  ExpectEnd([] { throw ToolDataError("no such element", "1 of 2 values"); },
            "no such element: 1 of 2 values");
}

TEST(UncaughtErrorDeathTest, HasALineForWhatTellsNothingOfItself) {
  ExpectEnd([] { throw 7; }, "an error of unknown type");
  ExpectEnd([] { std::terminate(); }, "ended without an error that could be told");
}

TEST(UncaughtErrorDeathTest, CountsOnAnyThread) {
  ExpectEnd([] { std::thread([] { throw std::out_of_range("elsewhere"); }).join(); }, "elsewhere");
}

TEST(UncaughtErrorDeathTest, IsOneLineWhateverTheTextHolds) {
  ExpectEnd([] { throw std::out_of_range("a\nb\x1b[2J"); },
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD\\[2J");
}

}  // namespace

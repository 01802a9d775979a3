#include "host/console.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include "host/signal_handler.h"
#include "host/thread.h"
#include "tests/support/terminal_job.h"

namespace tarvex {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kFaultsAreReported = true;
#else
constexpr bool kFaultsAreReported = false;
#endif

int WaitForKey(HostConsole& console) {
  constexpr int kTries = 12000;
  for (int i = 0; i < kTries; ++i) {
    const int key = console.ReadKey();
    if (key != kNoKey) return key;
    ::poll(nullptr, 0, 5);
  }
  return kNoKey;
}

void Fault() {
  void* page = ::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  *static_cast<volatile char*>(page) = 1;
}

// Overflows any stack; the result keeps the compiler from making a loop of it.
__attribute__((noinline)) std::uintptr_t Overflow(void* depth) {
  volatile char frame[4096];
  std::memset(const_cast<char*>(frame), 1, sizeof frame);
  std::uintptr_t next = reinterpret_cast<std::uintptr_t>(depth) + 1;
  if (next != 0) next = Overflow(reinterpret_cast<void*>(next));
  return next + static_cast<std::uintptr_t>(frame[next % sizeof frame]);
}

void OverflowOnAThread() {
  Thread threads;
  HostThreadHandle handle = nullptr;
  threads.Start(&handle, 0, Overflow, nullptr, "overflow");
  threads.Join(handle);
}

bool Ignore(int /*signal*/, std::uintptr_t /*first*/, std::uintptr_t /*second*/) {
  return true;
}

// One console, driven by letters.
int Obey(TerminalJob& job) {
  auto* console = new Console;
  SignalHandler signals;
  while (true) {
    const char command = job.NextCommand();
    switch (command) {
      case 'k':  // one look at the keyboard
        job.Report(std::to_string(console->ReadKey()));
        break;
      case 'w':  // looks until there is a key
        job.Report(std::to_string(WaitForKey(*console)));
        break;
      case 'p':
        console->TakeKeyboard();
        job.Report("done");
        break;
      case 'i':  // lets what was typed arrive
        job.WaitForInput();
        job.Report("done");
        break;
      case 'b':
      case 'f':
        job.SetForeground(command == 'f');
        job.Report("done");
        break;
      case 'n':  // a new use that ends at once
        Console::Release(new Console);
        job.Report("done");
        break;
      case 'h':
        signals.SetHandler(Ignore);
        job.Report("done");
        break;
      case 'a':
        std::abort();
      case 's':
        Fault();
        break;
      case 'o':
        Overflow(nullptr);
        break;
      case 't':
        OverflowOnAThread();
        break;
      default:
        return 7;
    }
  }
}

class ConsoleTest : public testing::Test {
 protected:
  void SetUp() override {
    before_ = job_.Settings();
    ASSERT_FALSE(job_.IsRaw());
  }
  // The job is at its terminal and reads keys.
  void Begin() {
    ASSERT_EQ(job_.Ask('k'), "-1");
    ASSERT_TRUE(job_.IsRaw());
  }
  void ExpectPutBack() {
    const termios now = job_.Settings();
    EXPECT_EQ(now.c_lflag, before_.c_lflag);
    EXPECT_EQ(now.c_iflag, before_.c_iflag);
    EXPECT_EQ(now.c_oflag, before_.c_oflag);
    EXPECT_EQ(now.c_cc[VMIN], before_.c_cc[VMIN]);
    EXPECT_EQ(now.c_cc[VTIME], before_.c_cc[VTIME]);
  }
  void ExpectEndBy(int signal) {
    const std::string end = job_.ReadLine();
    if (!kFaultsAreReported) {
      EXPECT_EQ(end, "signal " + std::to_string(signal));
    } else {
      EXPECT_NE(end, "exit 7");
      EXPECT_NE(end, "exit 0");
    }
    ExpectPutBack();
  }

  TerminalJob job_{Obey};
  termios before_{};
};

TEST_F(ConsoleTest, TheKeyboardCanBeTakenBeforeTheFirstLook) {
  EXPECT_EQ(job_.Ask('p'), "done");
  EXPECT_TRUE(job_.IsRaw());
  job_.Type("q");
  EXPECT_EQ(job_.Ask('w'), std::to_string('q'));
}

TEST_F(ConsoleTest, KeysOfBeforeTheTakingAreRead) {
  job_.Type("\x1b");
  EXPECT_EQ(job_.Ask('p'), "done");
  EXPECT_EQ(job_.Ask('w'), "27");
}

TEST_F(ConsoleTest, TheKeyboardIsNotTakenInTheBackground) {
  EXPECT_EQ(job_.Ask('b'), "done");
  EXPECT_EQ(job_.Ask('p'), "done");
  EXPECT_FALSE(job_.IsRaw());
}

TEST_F(ConsoleTest, LeavesTheTerminalAloneUntilAKeyIsRead) {
  EXPECT_EQ(job_.Ask('n'), "done");
  ExpectPutBack();
}

TEST_F(ConsoleTest, ReadingTurnsOffEditingEchoFlowControlAndReturnTranslation) {
  Begin();
  const termios now = job_.Settings();
  EXPECT_EQ(now.c_lflag, before_.c_lflag & ~static_cast<tcflag_t>(ICANON | ECHO));
  EXPECT_EQ(now.c_iflag, before_.c_iflag & ~static_cast<tcflag_t>(IXON | ICRNL));
  EXPECT_EQ(now.c_oflag, before_.c_oflag);
  EXPECT_NE(now.c_lflag & ISIG, 0U);
  EXPECT_EQ(now.c_cc[VMIN], 0);
  EXPECT_EQ(now.c_cc[VTIME], 0);
}

TEST_F(ConsoleTest, ReadsKeysInOrder) {
  Begin();
  job_.Type("y\rn");
  EXPECT_EQ(job_.Ask('w'), std::to_string('y'));
  EXPECT_EQ(job_.Ask('w'), std::to_string('\r'));
  EXPECT_EQ(job_.Ask('w'), std::to_string('n'));
  EXPECT_EQ(job_.Ask('k'), "-1");
}

TEST_F(ConsoleTest, LoneEscapeIs27) {
  Begin();
  job_.Type("\x1b");
  EXPECT_EQ(job_.Ask('w'), "27");
  EXPECT_EQ(job_.Ask('k'), "-1");
}

TEST_F(ConsoleTest, OneLookSettlesALoneEscape) {
  Begin();
  job_.Type("\x1b");
  ASSERT_EQ(job_.Ask('i'), "done");
  EXPECT_EQ(job_.Ask('k'), "27");
}

TEST_F(ConsoleTest, ArrowAndFunctionKeysAreNotEscape) {
  Begin();
  job_.Type("\x1b[A\x1b[B\x1bOP\x1b[15~\x1b[[Cq");
  EXPECT_EQ(job_.Ask('w'), std::to_string('q'));
}

TEST_F(ConsoleTest, InTheBackgroundNeitherReadsNorSetsTheTerminal) {
  ASSERT_EQ(job_.Ask('b'), "done");
  job_.Type("x");
  EXPECT_EQ(job_.Ask('k'), "-1");
  ExpectPutBack();
  ASSERT_EQ(job_.Ask('f'), "done");
  EXPECT_EQ(job_.Ask('w'), std::to_string('x'));
  EXPECT_TRUE(job_.IsRaw());
}

TEST_F(ConsoleTest, EndInTheBackgroundLeavesTheTerminalToItsNewOwner) {
  Begin();
  ASSERT_EQ(job_.Ask('b'), "done");
  termios others = before_;
  others.c_cc[VEOL] = 'E';
  job_.SetSettings(others);
  job_.Command('q');
  EXPECT_EQ(job_.ReadLine(), "exit 7");
  EXPECT_EQ(job_.Settings().c_cc[VEOL], 'E');
}

TEST_F(ConsoleTest, EndOfOneUseLeavesTheKeyboardToTheOthers) {
  Begin();
  EXPECT_EQ(job_.Ask('n'), "done");
  EXPECT_TRUE(job_.IsRaw());
}

TEST_F(ConsoleTest, NormalExitPutsTheTerminalBack) {
  Begin();
  job_.Command('q');
  EXPECT_EQ(job_.ReadLine(), "exit 7");
  ExpectPutBack();
}

class ConsoleSignalTest : public ConsoleTest, public testing::WithParamInterface<int> {};

TEST_P(ConsoleSignalTest, EndsTheProcessWithTheTerminalPutBack) {
  Begin();
  job_.Signal(GetParam());
  EXPECT_EQ(job_.ReadLine(), "signal " + std::to_string(GetParam()));
  ExpectPutBack();
}

INSTANTIATE_TEST_SUITE_P(Signals, ConsoleSignalTest,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1));

TEST_F(ConsoleTest, ControlCStillInterrupts) {
  Begin();
  job_.Type("\x03");
  EXPECT_EQ(job_.ReadLine(), "signal " + std::to_string(SIGINT));
  ExpectPutBack();
}

TEST_F(ConsoleTest, HandledTerminationLeavesTheKeyboardAtWork) {
  ASSERT_EQ(job_.Ask('h'), "done");
  Begin();
  job_.Signal(SIGTERM);
  job_.Type("z");
  EXPECT_EQ(job_.Ask('w'), std::to_string('z'));
  EXPECT_TRUE(job_.IsRaw());
}

TEST_F(ConsoleTest, FaultPutsTheTerminalBack) {
  Begin();
  job_.Command('s');
  ExpectEndBy(SIGSEGV);
}

TEST_F(ConsoleTest, AbortPutsTheTerminalBack) {
  Begin();
  job_.Command('a');
  ExpectEndBy(SIGABRT);
}

TEST_F(ConsoleTest, SentFaultSignalPutsTheTerminalBack) {
  Begin();
  job_.Signal(SIGBUS);
  ExpectEndBy(SIGBUS);
}

TEST_F(ConsoleTest, StackOverflowPutsTheTerminalBack) {
  Begin();
  job_.Command('o');
  ExpectEndBy(SIGSEGV);
}

TEST_F(ConsoleTest, StackOverflowOfAThreadPutsTheTerminalBack) {
  Begin();
  job_.Command('t');
  ExpectEndBy(SIGSEGV);
}

TEST_F(ConsoleTest, IsPutBackWhileStoppedAndReadAgainAfterwards) {
  Begin();
  for (int i = 0; i < 2; ++i) {
    job_.Type("\x1a");
    ASSERT_EQ(job_.ReadLine(), "stopped");
    ExpectPutBack();
    job_.Signal(SIGCONT);
    EXPECT_EQ(job_.Ask('k'), "-1");
    EXPECT_TRUE(job_.IsRaw());
  }
  job_.Command('q');
  EXPECT_EQ(job_.ReadLine(), "exit 7");
  ExpectPutBack();
}

TEST_F(ConsoleTest, SetsTheTerminalAgainAfterAStopThatCannotBeCaught) {
  Begin();
  job_.Signal(SIGSTOP);
  ASSERT_EQ(job_.ReadLine(), "stopped");
  job_.SetSettings(before_);
  job_.Signal(SIGCONT);
  EXPECT_EQ(job_.Ask('k'), "-1");
  EXPECT_TRUE(job_.IsRaw());
  job_.Command('q');
  EXPECT_EQ(job_.ReadLine(), "exit 7");
  ExpectPutBack();
}

TEST(ConsoleWithoutTerminalTest, HasNoKeyEver) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::setsid();
    Console console;
    ::_exit(console.ReadKey() == kNoKey && console.ReadKey() == kNoKey ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tarvex

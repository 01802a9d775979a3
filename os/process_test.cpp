#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>

#include "os/descriptor.h"
#include "os/descriptor_writer.h"
#include "os/detached_process.h"
#include "os/process_start.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_pipe.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kReportVariable = "TARVEX_TEST_DETACHED_REPORT";

std::string DescriptorTarget(int number) {
  std::error_code ignored;
  return fs::read_symlink("/proc/self/fd/" + std::to_string(number), ignored).string();
}

// What the started copy of this test program says about itself.
std::string DescribeProcess(int argumentCount, char** arguments) {
  std::ostringstream report;
  for (int at = 0; at < argumentCount; ++at) report << "argument " << arguments[at] << "\n";
  for (int number = 0; number < 1024; ++number) {
    if (fcntl(number, F_GETFD) >= 0) report << number << " " << DescriptorTarget(number) << "\n";
  }
  struct sigaction action {};
  sigaction(SIGPIPE, nullptr, &action);
  sigset_t blocked;
  sigprocmask(SIG_SETMASK, nullptr, &blocked);
  const mode_t mask = umask(0);
  report << "pipe " << (action.sa_handler == SIG_DFL ? "default" : "other") << "\n"
         << "blocked " << sigismember(&blocked, SIGUSR1) << "\n"
         << "terminal " << (open("/dev/tty", O_RDWR | O_CLOEXEC) < 0 ? "none" : "some") << "\n"
         << "leader " << (getsid(0) == getpid() ? "yes" : "no") << "\n"
         << "session " << getsid(0) << "\n"
         << "niceness " << getpriority(PRIO_PROCESS, 0) << "\n"
         << "umask " << mask << "\n"
         << "folder " << fs::current_path().string() << "\n";
  return report.str();
}

// Runs before main: a copy of this program that StartDetached started reports and leaves.
__attribute__((constructor)) void ReportAndLeave(int argumentCount, char** arguments, char**) {
  const char* const path = std::getenv(kReportVariable);
  if (path == nullptr) return;
  const std::string report = DescribeProcess(argumentCount, arguments);
  const int out = open(path, O_WRONLY | O_CLOEXEC);
  _exit(tarvex::WriteAll(out, report.data(), report.size()));
}

// Runs the function in a child process; its exit status.
int InChild(const std::function<int()>& function) {
  // What is buffered is printed once only.
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) _exit(function());
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return WEXITSTATUS(status);
}

// ---- StartDetached ------------------------------------------------------------------------------

class DetachedProcessTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string path = folder_ / "report";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    report_ = tarvex::Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    // Keeps the pipe open until the new program has it.
    keeper_ = tarvex::Descriptor(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    fcntl(report_.Get(), F_SETFL, 0);
  }
  std::string Start() {
    const TestVariable variable(kReportVariable, folder_ / "report");
    int error = -1;
    EXPECT_EQ(tarvex::StartDetached({"name", "two words", "", "\"q\\"}, &error), 0);
    EXPECT_EQ(error, 0);
    // The first byte shows that the new program has the pipe; then only its end keeps it open.
    pollfd waiting{report_.Get(), POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 60'000), 1);
    keeper_.Close();
    return ReadToEnd(report_.Get());
  }
  static bool Holds(const std::string& report, const std::string& line) {
    return ("\n" + report).find("\n" + line + "\n") != std::string::npos;
  }

  const TestFolder folder_;
  tarvex::Descriptor report_;
  tarvex::Descriptor keeper_;
};

TEST_F(DetachedProcessTest, PassesTheArgumentsAsTheyAre) {
  const std::string report = Start();
  EXPECT_EQ(report.rfind("argument name\nargument two words\nargument \nargument \"q\\\n0 ", 0), 0U)
      << report;
}

TEST_F(DetachedProcessTest, HasNullStreamsAndNoOtherDescriptor) {
  const tarvex::Descriptor inheritable(open("/dev/zero", O_RDONLY));
  ASSERT_TRUE(inheritable.IsOpen());
  const std::string report = Start();
  EXPECT_NE(report.find("\n0 /dev/null\n1 /dev/null\n2 /dev/null\npipe "), std::string::npos)
      << report;
}

TEST_F(DetachedProcessTest, LivesInANewSessionThatItDoesNotLeadWithoutTerminal) {
  const std::string report = Start();
  EXPECT_TRUE(Holds(report, "terminal none")) << report;
  EXPECT_TRUE(Holds(report, "leader no")) << report;
  EXPECT_FALSE(Holds(report, "session " + std::to_string(getsid(0)))) << report;
}

TEST_F(DetachedProcessTest, HasDefaultDispositionsAndNoBlockedSignals) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  struct sigaction before {};
  sigaction(SIGPIPE, &ignore, &before);
  sigset_t blocked;
  sigset_t maskBefore;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &blocked, &maskBefore);
  const std::string report = Start();
  sigset_t maskAfter;
  pthread_sigmask(SIG_SETMASK, &maskBefore, &maskAfter);
  sigaction(SIGPIPE, &before, nullptr);
  EXPECT_TRUE(Holds(report, "pipe default")) << report;
  EXPECT_TRUE(Holds(report, "blocked 0")) << report;
  EXPECT_EQ(sigismember(&maskAfter, SIGUSR1), 1) << "the caller's own mask stays";
}

TEST_F(DetachedProcessTest, HurriesWhileTheNewProgramKeepsTheNiceness) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may hurry";
  const int before = getpriority(PRIO_PROCESS, 0);
  ASSERT_EQ(setpriority(PRIO_PROCESS, 0, 7), 0);
  const std::string report = Start();
  const int after = getpriority(PRIO_PROCESS, 0);
  setpriority(PRIO_PROCESS, 0, before);
  EXPECT_TRUE(Holds(report, "niceness 7")) << report;
  EXPECT_EQ(after, -10);
}

TEST_F(DetachedProcessTest, InheritsTheUmask) {
  const mode_t before = umask(0345);
  const std::string report = Start();
  umask(before);
  EXPECT_TRUE(Holds(report, "umask " + std::to_string(0345))) << report;
}

TEST_F(DetachedProcessTest, InheritsTheWorkingDirectory) {
  EXPECT_TRUE(Holds(Start(), "folder " + fs::current_path().string()));
}

TEST_F(DetachedProcessTest, StartsWithClosedStandardStreamsToo) {
  const TestVariable variable(kReportVariable, folder_ / "report");
  EXPECT_EQ(InChild([] {
              close(0);
              close(1);
              close(2);
              return tarvex::StartDetached({"name"}, nullptr);
            }),
            0);
  pollfd waiting{report_.Get(), POLLIN, 0};
  EXPECT_EQ(poll(&waiting, 1, 60'000), 1);
  keeper_.Close();
  const std::string report = ReadToEnd(report_.Get());
  EXPECT_NE(report.find("\n0 /dev/null\n1 /dev/null\n2 /dev/null\npipe "), std::string::npos)
      << report;
}

TEST_F(DetachedProcessTest, LeavesNoChildBehind) {
  Start();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(DetachedProcessTest, TellsWhyTheProgramDidNotStart) {
  // One argument may not be longer than 32 pages.
  int error = 0;
  EXPECT_EQ(tarvex::StartDetached({"name", std::string(1U << 20, 'x')}, &error), E2BIG);
  EXPECT_EQ(error, E2BIG);
  EXPECT_EQ(tarvex::StartDetached({"name", std::string(1U << 20, 'x')}, nullptr), E2BIG);
}

// ---- Process start ------------------------------------------------------------------------------

TEST(FillStandardDescriptors, FillsClosedOnesSoThatUseFails) {
  EXPECT_EQ(InChild([] {
              close(0);
              close(1);
              close(2);
              if (tarvex::FillStandardDescriptors() != 0) return 1;
              char byte = 'x';
              if (read(0, &byte, 1) != -1 || errno != EBADF) return 2;
              if (write(1, &byte, 1) != -1 || errno != EBADF) return 3;
              if (write(2, &byte, 1) != -1 || errno != EBADF) return 4;
              return open("/dev/null", O_RDONLY | O_CLOEXEC) > 2 ? 0 : 5;
            }),
            0);
}

// In the child process of a test: an empty root folder, which has no /dev.
bool EnterEmptyRoot(const TestFolder& folder) {
  return chroot(folder.Path().c_str()) == 0 && chdir("/") == 0;
}

TEST(FillStandardDescriptors, FillsThemWhereThereAreNoDevices) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can change its root";
  const TestFolder folder;
  EXPECT_EQ(InChild([&folder] {
              if (!EnterEmptyRoot(folder)) return 1;
              close(0);
              close(1);
              close(2);
              if (tarvex::FillStandardDescriptors() != 0) return 2;
              return open("file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600) > 2 ? 0 : 3;
            }),
            0);
}

TEST(FillStandardDescriptors, LeavesOpenOnesAlone) {
  EXPECT_EQ(InChild([] {
              const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
              dup2(null, 1);
              close(2);
              if (tarvex::FillStandardDescriptors() != 0) return 1;
              if (write(1, "x", 1) != 1) return 2;
              return write(2, "x", 1) == -1 && errno == EBADF ? 0 : 3;
            }),
            0);
}

TEST(KeepEndsOfChildren, EndsAreToldThoughTheCallerIgnoredThem) {
  EXPECT_EQ(InChild([] {
              signal(SIGCHLD, SIG_IGN);
              tarvex::KeepEndsOfChildren();
              const pid_t child = fork();
              if (child == 0) _exit(5);
              int status = 0;
              return waitpid(child, &status, 0) == child && WEXITSTATUS(status) == 5 ? 0 : 1;
            }),
            0);
}

TEST(SurviveFailedWrites, WriteWithoutReaderFails) {
  EXPECT_EQ(InChild([] {
              std::array<int, 2> ends{};
              if (pipe(ends.data()) != 0) return 1;
              close(ends[0]);
              tarvex::SurviveFailedWrites();
              return write(ends[1], "x", 1) == -1 && errno == EPIPE ? 0 : 2;
            }),
            0);
}

TEST(SurviveFailedWrites, WritePastTheSizeOfFilesFails) {
  const TestFolder folder;
  EXPECT_EQ(InChild([&folder] {
              const rlimit small{4, RLIM_INFINITY};
              if (setrlimit(RLIMIT_FSIZE, &small) != 0) return 1;
              const std::string path = folder / "file";
              const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
              tarvex::SurviveFailedWrites();
              if (write(file, "four++", 6) != 4) return 2;
              return write(file, "x", 1) == -1 && errno == EFBIG ? 0 : 3;
            }),
            0);
}

TEST(PrepareEnvironment, SetsWhatIsFixed) {
  const TestVariable path("PATH", "/tmp");
  const TestVariable home("HOME", "/tmp");
  const TestVariable driver("SDL_AUDIODRIVER", "alsa");
  tarvex::PrepareEnvironment();
  EXPECT_STREQ(std::getenv("PATH"), "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin");
  EXPECT_STREQ(std::getenv("HOME"), "/root");
  EXPECT_STREQ(std::getenv("SDL_AUDIODRIVER"), "dummy");
}

}  // namespace

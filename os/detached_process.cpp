#include "os/detached_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "os/descriptor.h"

namespace tarvex {
namespace {

constexpr int kHighPriority = -10;  // a niceness

// Everything that the new processes need, made before the fork: between fork and exec only
// async-signal-safe calls are allowed.
struct Launch {
  const char* program;
  char* const* arguments;
  int niceness;
  int report;  // write end of a pipe that the exec closes
};

[[noreturn]] void ReportFailure(int descriptor, int error) {
  while (write(descriptor, &error, sizeof error) < 0 && errno == EINTR) {
  }
  _exit(127);
}

void ResetSignals() {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &standard, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Leaves the standard streams, on /dev/null, and the report, which lies above them. Returns 0 or an
// errno value.
int ArrangeDescriptors(int report) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null < 0) return errno;
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // dup2 onto itself would leave the close-on-exec flag.
    const int result = null == number ? fcntl(number, F_SETFD, 0) : dup2(null, number);
    if (result < 0) return errno;
  }
  const auto first = static_cast<unsigned>(STDERR_FILENO + 1);
  const auto kept = static_cast<unsigned>(report);
  if (kept > first && close_range(first, kept - 1, 0) != 0) return errno;
  return close_range(kept + 1, ~0U, 0) == 0 ? 0 : errno;
}

// The first child: leads the new session and leaves its child, which can't get a terminal as it
// leads none, to the system.
[[noreturn]] void RunSessionLeader(Launch launch) {
  if (setsid() < 0) ReportFailure(launch.report, errno);
  const pid_t child = fork();
  if (child < 0) ReportFailure(launch.report, errno);
  if (child > 0) _exit(0);
  ResetSignals();
  setpriority(PRIO_PROCESS, 0, launch.niceness);
  const int error = ArrangeDescriptors(launch.report);
  if (error != 0) ReportFailure(launch.report, error);
  execv(launch.program, launch.arguments);
  ReportFailure(launch.report, errno);
}

// A pipe above the standard streams, so that nothing that is printed can get into it. 0 or an errno
// value.
int MakeReport(std::array<Descriptor, 2>& report) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return errno;
  for (std::size_t at = 0; at < ends.size(); ++at) {
    const Descriptor first(ends[at]);
    report[at] = Descriptor(fcntl(ends[at], F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  }
  return report[0].IsOpen() && report[1].IsOpen() ? 0 : EMFILE;
}

// What came through the report pipe: 0 when the exec closed it.
int ReadReport(int descriptor) {
  int error = 0;
  ssize_t count = 0;
  do {
    count = read(descriptor, &error, sizeof error);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return errno;
  return count == sizeof error ? error : 0;
}

// Whatever is left to do here, the new program waits for its end. Gives the niceness from before;
// without the right to, all stays as it is.
int Hurry() {
  const int before = getpriority(PRIO_PROCESS, 0);
  setpriority(PRIO_PROCESS, 0, std::min(before, kHighPriority));
  return before;
}

int StartProgram(const char* program, char* const* arguments) {
  std::array<Descriptor, 2> report;
  const int made = MakeReport(report);
  if (made != 0) return made;
  const Launch launch{program, arguments, Hurry(), report[1].Get()};

  // No handler of this process may run in the child before its dispositions are reset.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child = fork();
  if (child == 0) RunSessionLeader(launch);
  int error = child < 0 ? errno : 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);

  report[1].Close();
  if (child > 0) {
    error = ReadReport(report[0].Get());
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  return error;
}

int ResolveOwnProgram(std::array<char, PATH_MAX>& path) {
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
  if (length < 0) return errno;
  path[static_cast<std::size_t>(length)] = '\0';
  return 0;
}

}  // namespace

int StartDetached(const std::vector<std::string>& arguments, int* error) {
  std::array<char, PATH_MAX> program{};
  int result = ResolveOwnProgram(program);
  if (result == 0) {
    std::vector<std::string> texts(arguments);
    if (texts.empty()) texts.emplace_back(program.data());
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    result = StartProgram(program.data(), pointers.data());
  }
  if (error != nullptr) *error = result;
  return result;
}

}  // namespace tarvex

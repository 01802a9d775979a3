#include "system/detached_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

namespace tarvex {
namespace {

constexpr int kReportDescriptor = STDERR_FILENO + 1;

// Everything that the new processes need, made before the fork: between fork and exec only
// async-signal-safe calls are allowed.
struct Launch {
  const char* program;
  char* const* arguments;
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

// Leaves the standard streams, on /dev/null, and the report. Returns 0 or an errno value; `report`
// names the report all the time.
int ArrangeDescriptors(int& report) {
  // Above the standard streams first, whatever number the pipe got.
  const int kept = fcntl(report, F_DUPFD_CLOEXEC, kReportDescriptor);
  if (kept < 0) return errno;
  report = kept;
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null < 0) return errno;
  for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
    // dup2 onto itself would leave the close-on-exec flag.
    const int result = null == number ? fcntl(number, F_SETFD, 0) : dup2(null, number);
    if (result < 0) return errno;
  }
  if (report != kReportDescriptor) {
    if (dup3(report, kReportDescriptor, O_CLOEXEC) < 0) return errno;
    report = kReportDescriptor;
  }
  return close_range(kReportDescriptor + 1, ~0U, 0) == 0 ? 0 : errno;
}

// The first child: leads the new session and leaves its child, which can't get a terminal as it
// leads none, to the system.
[[noreturn]] void RunSessionLeader(Launch launch) {
  if (setsid() < 0) ReportFailure(launch.report, errno);
  const pid_t child = fork();
  if (child < 0) ReportFailure(launch.report, errno);
  if (child > 0) _exit(0);
  ResetSignals();
  const int error = ArrangeDescriptors(launch.report);
  if (error != 0) ReportFailure(launch.report, error);
  execv(launch.program, launch.arguments);
  ReportFailure(launch.report, errno);
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

int StartProgram(const char* program, char* const* arguments) {
  std::array<int, 2> report{};
  if (pipe2(report.data(), O_CLOEXEC) != 0) return errno;
  const Launch launch{program, arguments, report[1]};

  // No handler of this process may run in the child before its dispositions are reset.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child = fork();
  if (child == 0) RunSessionLeader(launch);
  int error = child < 0 ? errno : 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);

  close(report[1]);
  if (child > 0) {
    error = ReadReport(report[0]);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  close(report[0]);
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
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    result = StartProgram(program.data(), pointers.data());
  }
  if (error != nullptr) *error = result;
  return result;
}

}  // namespace tarvex

// Runs a program many times and prints one line of JSON: the median and the fastest time from its
// start to its end in milliseconds, the least processor time in milliseconds, and its peak resident
// memory in MiB.
//
//   measure COUNT PROGRAM ARGUMENTS...
//
// A small program of its own, because a started process counts the memory of the one that starts
// it, and an interpreter is larger than most of what is measured here.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

extern char** environ;

namespace {

struct Sample {
  double milliseconds = 0;
  double processorMilliseconds = 0;
  double mebibytes = 0;
  int status = 0;
};

double Milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

bool RunOnce(char** words, Sample& sample) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t process = 0;
  const bool started = posix_spawn(&process, words[0], &actions, nullptr, words, environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  rusage usage = {};
  if (!started || wait4(process, &sample.status, 0, &usage) != process) {
    return false;
  }
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  sample.milliseconds = took.count();
  sample.processorMilliseconds = Milliseconds(usage.ru_utime) + Milliseconds(usage.ru_stime);
  sample.mebibytes = static_cast<double>(usage.ru_maxrss) / 1024.0;
  return WIFEXITED(sample.status);
}

}  // namespace

int main(int argc, char** argv) {
  const int count = argc > 2 ? std::atoi(argv[1]) : 0;
  if (count < 1) {
    std::fputs("usage: measure COUNT PROGRAM ARGUMENTS...\n", stderr);
    return 2;
  }
  std::vector<double> times;
  double peak = 0;
  double leastProcessor = std::numeric_limits<double>::infinity();
  Sample sample;
  for (int run = 0; run < count; ++run) {
    if (!RunOnce(argv + 2, sample)) {
      std::fprintf(stderr, "measure: %s could not be run\n", argv[2]);
      return 1;
    }
    times.push_back(sample.milliseconds);
    peak = std::max(peak, sample.mebibytes);
    leastProcessor = std::min(leastProcessor, sample.processorMilliseconds);
  }
  std::sort(times.begin(), times.end());
  std::printf(
      "{\"median_ms\": %.3f, \"least_ms\": %.3f, \"least_processor_ms\": %.3f, "
      "\"peak_mib\": %.2f, \"status\": %d}\n",
      times[times.size() / 2], times.front(), leastProcessor, peak, WEXITSTATUS(sample.status));
  return 0;
}

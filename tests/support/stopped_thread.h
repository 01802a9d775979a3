#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>

// The threads of this process.
inline std::set<pid_t> ThreadsOfOurs() {
  std::set<pid_t> threads;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
    threads.insert(std::stoi(entry.path().filename()));
  }
  return threads;
}

// Keeps one thread of this process stopped, and no other, for as long as it lives. Another process
// does it, for nobody may trace himself.
class StoppedThread {
 public:
  explicit StoppedThread(pid_t thread) {
    int told[2];
    int asked[2];
    EXPECT_EQ(pipe(told), 0);
    EXPECT_EQ(pipe(asked), 0);
    tracer_ = fork();
    if (tracer_ == 0) {
      close(asked[1]);
      char byte = ptrace(PTRACE_SEIZE, thread, 0, 0) == 0 &&
                          ptrace(PTRACE_INTERRUPT, thread, 0, 0) == 0 &&
                          waitpid(thread, nullptr, __WALL) == thread
                      ? 'y'
                      : 'n';
      [[maybe_unused]] ssize_t ignored = write(told[1], &byte, 1);
      ignored = read(asked[0], &byte, 1);
      ptrace(PTRACE_DETACH, thread, 0, 0);
      _exit(0);
    }
    close(told[1]);
    close(asked[0]);
    resume_ = asked[1];
    char byte = 0;
    EXPECT_EQ(read(told[0], &byte, 1), 1);
    EXPECT_EQ(byte, 'y');
    close(told[0]);
  }
  ~StoppedThread() {
    close(resume_);
    waitpid(tracer_, nullptr, 0);
  }
  StoppedThread(const StoppedThread&) = delete;
  StoppedThread& operator=(const StoppedThread&) = delete;

 private:
  pid_t tracer_ = -1;
  int resume_ = -1;
};

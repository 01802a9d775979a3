#include "tests/support/terminal_job.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>

namespace tarvex {
namespace {

void MakePipe(Descriptor& read, Descriptor& write) {
  std::array<int, 2> ends{-1, -1};
  EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
  read.Reset(ends[0]);
  write.Reset(ends[1]);
}

void GiveTerminalTo(int terminal, pid_t group) {
  sigset_t set;
  sigset_t before;
  sigemptyset(&set);
  sigaddset(&set, SIGTTOU);
  ::pthread_sigmask(SIG_BLOCK, &set, &before);
  ::tcsetpgrp(terminal, group);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void WriteAll(int descriptor, const std::string& text) {
  EXPECT_EQ(::write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

}  // namespace

TerminalJob::TerminalJob(const Body& body) {
  MakePipe(commandRead_, commandWrite_);
  MakePipe(reportRead_, reportWrite_);
  MakePipe(goodbyeRead_, goodbyeWrite_);
  master_.Reset(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  EXPECT_EQ(::grantpt(master_.Get()), 0);
  EXPECT_EQ(::unlockpt(master_.Get()), 0);
  std::array<char, 64> name{};
  EXPECT_EQ(::ptsname_r(master_.Get(), name.data(), name.size()), 0);
  // Or the job would write what waits in here a second time.
  std::fflush(nullptr);
  shell_ = ::fork();
  if (shell_ == 0) RunShell(body, name.data());
  reportWrite_.Reset();
  commandRead_.Reset();
  goodbyeRead_.Reset();
  const std::string line = ReadLine();
  EXPECT_EQ(line.substr(0, 4), "job ");
  job_ = static_cast<pid_t>(std::stol(line.substr(4)));
}

TerminalJob::~TerminalJob() {
  // The job ends for want of commands, also one that a failed test left stopped.
  commandWrite_.Reset();
  if (!hasEnded_) ::kill(job_, SIGCONT);
  goodbyeWrite_.Reset();
  int status = 0;
  ::waitpid(shell_, &status, 0);
}

void TerminalJob::RunShell(const Body& body, const char* terminal) {
  ::setsid();
  slave_.Reset(::open(terminal, O_RDWR | O_CLOEXEC));
  ::ioctl(slave_.Get(), TIOCSCTTY, 0);
  master_.Reset();
  commandWrite_.Reset();
  goodbyeWrite_.Reset();
  const pid_t job = ::fork();
  if (job == 0) RunJob(body);
  ::setpgid(job, job);
  ReportEnds(job);
  char byte = 0;
  [[maybe_unused]] const ssize_t ended = ::read(goodbyeRead_.Get(), &byte, 1);
  ::_exit(0);
}

void TerminalJob::RunJob(const Body& body) {
  ::setpgid(0, 0);
  GiveTerminalTo(slave_.Get(), ::getpid());
  goodbyeRead_.Reset();
  Report("job " + std::to_string(::getpid()));
  ::exit(body(*this));
}

void TerminalJob::ReportEnds(pid_t job) {
  int status = 0;
  while (::waitpid(job, &status, WUNTRACED) == job) {
    if (WIFSTOPPED(status)) Report("stopped");
    if (WIFEXITED(status)) Report("exit " + std::to_string(WEXITSTATUS(status)));
    if (WIFSIGNALED(status)) Report("signal " + std::to_string(WTERMSIG(status)));
    if (!WIFSTOPPED(status)) return;
  }
}

std::string TerminalJob::ReadLine() {
  while (true) {
    const std::size_t end = unread_.find('\n');
    if (end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      hasEnded_ = hasEnded_ || line.starts_with("exit ") || line.starts_with("signal ");
      return line;
    }
    pollfd waiting{reportRead_.Get(), POLLIN, 0};
    std::array<char, 256> buffer{};
    constexpr int kDeadline = 60000;
    if (::poll(&waiting, 1, kDeadline) <= 0) return "(no line)";
    const ssize_t count = ::read(reportRead_.Get(), buffer.data(), buffer.size());
    if (count <= 0) return "(end)";
    unread_.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

void TerminalJob::Command(char command) {
  WriteAll(commandWrite_.Get(), {command});
}

void TerminalJob::Type(const std::string& bytes) {
  WriteAll(master_.Get(), bytes);
}

std::string TerminalJob::Ask(char command) {
  Command(command);
  return ReadLine();
}

void TerminalJob::Signal(int signal) {
  EXPECT_EQ(::kill(job_, signal), 0);
}

termios TerminalJob::Settings() {
  termios settings{};
  EXPECT_EQ(::tcgetattr(master_.Get(), &settings), 0);
  return settings;
}

void TerminalJob::SetSettings(const termios& settings) {
  EXPECT_EQ(::tcsetattr(master_.Get(), TCSANOW, &settings), 0);
}

char TerminalJob::NextCommand() {
  // The thread checker holds a signal back while its thread is in a read that goes on after it.
  pollfd waiting{commandRead_.Get(), POLLIN, 0};
  while (::poll(&waiting, 1, -1) < 0) {
  }
  char command = 0;
  return ::read(commandRead_.Get(), &command, 1) == 1 ? command : '\0';
}

void TerminalJob::Report(const std::string& line) {
  WriteAll(reportWrite_.Get(), line + "\n");
}

void TerminalJob::WaitForInput() {
  pollfd waiting{slave_.Get(), POLLIN, 0};
  while (::poll(&waiting, 1, -1) < 0) {
  }
}

void TerminalJob::SetForeground(bool foreground) {
  GiveTerminalTo(slave_.Get(), foreground ? ::getpgrp() : ::getppid());
}

}  // namespace tarvex

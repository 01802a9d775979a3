#pragma once

#include <sys/types.h>
#include <termios.h>

#include <functional>
#include <string>

#include "os/descriptor.h"

namespace tarvex {

// For tests: a job in the foreground of a pseudo terminal of its own, under a shell that stays
// alive behind it, so that the terminal keeps its settings when the job ends.
class TerminalJob {
 public:
  // What the job does; its result is given to exit().
  using Body = std::function<int(TerminalJob&)>;

  // Needs a process without other threads.
  explicit TerminalJob(const Body& body);
  ~TerminalJob();
  TerminalJob(const TerminalJob&) = delete;
  TerminalJob& operator=(const TerminalJob&) = delete;

  // On the test's side. Lines come from the job's Report and from the shell: "stopped",
  // "exit <status>" and "signal <number>".
  std::string ReadLine();
  void Command(char command);
  void Type(const std::string& bytes);
  // Sends a command and returns the job's answer.
  std::string Ask(char command);
  void Signal(int signal);
  termios Settings();
  void SetSettings(const termios& settings);
  bool IsRaw() { return (Settings().c_lflag & static_cast<tcflag_t>(ICANON | ECHO)) == 0; }

  // On the job's side.
  char NextCommand();
  void Report(const std::string& line);
  // Waits until typed bytes can be read.
  void WaitForInput();
  // Sends the job into the background, or fetches it back.
  void SetForeground(bool foreground);

 private:
  void RunShell(const Body& body, const char* terminal);
  void RunJob(const Body& body);
  void ReportEnds(pid_t job);

  Descriptor master_;
  Descriptor slave_;
  Descriptor commandRead_;
  Descriptor commandWrite_;
  Descriptor reportRead_;
  Descriptor reportWrite_;
  Descriptor goodbyeRead_;
  Descriptor goodbyeWrite_;
  std::string unread_;
  pid_t shell_ = -1;
  pid_t job_ = -1;
  bool hasEnded_ = false;
};

}  // namespace tarvex

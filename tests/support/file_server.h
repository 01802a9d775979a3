#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "os/descriptor.h"

// A program of the tests that serves a file over FUSE, NAME below a folder of its own, and takes
// commands in lines. Only where CanServe.
class FileServer {
 public:
  static bool CanServe() { return geteuid() == 0 && access("/dev/fuse", R_OK | W_OK) == 0; }

  FileServer(const std::string& program, std::string name, const std::string& argument = {})
      : name_(std::move(name)) {
    folder_ = (std::filesystem::temp_directory_path() / (program + "_XXXXXX")).string();
    if (mkdtemp(folder_.data()) == nullptr) throw std::runtime_error("mkdtemp");
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("pipe2");
    const std::string path = TARVEX_BINARY_DIR "/tests/" + program;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      execl(path.c_str(), path.c_str(), folder_.c_str(),
            argument.empty() ? nullptr : argument.c_str(), nullptr);
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    commands_ = tarvex::Descriptor(in[1]);
    answers_ = tarvex::Descriptor(out[0]);
    EXPECT_EQ(ReadLine(), "ready");
  }
  ~FileServer() {
    commands_.Reset();
    waitpid(pid_, nullptr, 0);
    rmdir(folder_.c_str());
  }
  FileServer(const FileServer&) = delete;
  FileServer& operator=(const FileServer&) = delete;

  std::string Path() const { return folder_ + '/' + name_; }

  std::string Command(const std::string& line) {
    const std::string text = line + '\n';
    EXPECT_EQ(write(commands_.Get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    return ReadLine();
  }

 private:
  std::string ReadLine() {
    std::string line;
    for (char c = 0; read(answers_.Get(), &c, 1) == 1 && c != '\n';) line += c;
    return line;
  }

  std::string name_;
  std::string folder_;
  pid_t pid_ = -1;
  tarvex::Descriptor commands_;
  tarvex::Descriptor answers_;
};

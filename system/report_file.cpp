#include "system/report_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "system/descriptor_writer.h"
#include "system/system_path.h"

namespace tarvex {
namespace {

constexpr std::size_t kBufferSize = 8192;
constexpr mode_t kReportMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

// A device is written as it is; a file loses what it held.
bool Prepare(int descriptor) {
  struct stat about {};
  if (fstat(descriptor, &about) != 0) {
    return false;
  }
  return S_ISCHR(about.st_mode) || (S_ISREG(about.st_mode) && ftruncate(descriptor, 0) == 0);
}

}  // namespace

ReportFile::~ReportFile() {
  Close();
}

bool ReportFile::Open(const std::string& path) {
  Close();
  // Truncated only when it is known what it is, and without waiting for the reader of a pipe.
  const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  const int descriptor = open(ToSystemPath(path).c_str(), flags, kReportMode);
  if (descriptor < 0) {
    return false;
  }
  if (!Prepare(descriptor)) {
    close(descriptor);
    return false;
  }
  descriptor_ = descriptor;
  return true;
}

void ReportFile::Write(std::string_view text) {
  if (!IsOpen()) {
    return;
  }
  pending_ += text;
  if (pending_.size() >= kBufferSize) {
    Flush();
  }
}

void ReportFile::Flush() {
  if (IsOpen() && !pending_.empty()) {
    WriteAll(descriptor_, pending_.data(), pending_.size());
  }
  pending_.clear();
}

void ReportFile::Close() {
  Flush();
  if (IsOpen()) {
    close(descriptor_);
    descriptor_ = -1;
  }
}

}  // namespace tarvex

#include "system/report_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "system/descriptor_writer.h"
#include "system/system_path.h"
#include "system/trusted_path.h"

namespace tarvex {
namespace {

constexpr std::size_t kBufferSize = 8192;
constexpr mode_t kReportMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

// Memory devices of that kind take everything, or nothing, at once. Any other device may hold a
// writer up, or take a report for orders.
// Source: Linux, Documentation/admin-guide/devices.txt, 1 char.
bool IsSink(const struct stat& about) {
  constexpr unsigned kMemoryDevices = 1;
  constexpr unsigned kNull = 3;
  constexpr unsigned kFull = 7;
  return S_ISCHR(about.st_mode) && major(about.st_rdev) == kMemoryDevices &&
         (minor(about.st_rdev) == kNull || minor(about.st_rdev) == kFull);
}

// A file with a second name may be one that nobody means to lose.
bool IsWritten(const struct stat& about) {
  return IsSink(about) || (S_ISREG(about.st_mode) && about.st_nlink <= 1);
}

// Opens what is fit to be written, or makes a file. What is unfit isn't even opened, which can be
// an order to a device, unless it took the place of something fit in this moment.
Descriptor OpenEntry(const Descriptor& folder, const char* name) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  struct stat about {};
  if (fstatat(folder.Get(), name, &about, AT_SYMLINK_NOFOLLOW) == 0 && !IsWritten(about)) {
    return Descriptor();
  }
  Descriptor file(openat(folder.Get(), name, kFlags, kReportMode));
  if (!file.IsOpen() || fstat(file.Get(), &about) != 0 || !IsWritten(about)) {
    return Descriptor();
  }
  if (S_ISREG(about.st_mode) && ftruncate(file.Get(), 0) != 0) {
    return Descriptor();
  }
  return file;
}

}  // namespace

ReportFile::~ReportFile() {
  Close();
}

bool ReportFile::Open(const std::string& path) {
  Close();
  const std::string whole = ToSystemPath(path);
  const std::size_t nameStart = whole.rfind('/') + 1;  // 0 for a bare name
  Descriptor folder;
  if (OpenFolderOverOwnLinks(nameStart == 0 ? "." : whole.substr(0, nameStart), folder) == 0) {
    file_ = OpenEntry(folder, whole.c_str() + nameStart);
  }
  return IsOpen();
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
    WriteAll(file_.Get(), pending_.data(), pending_.size());
  }
  pending_.clear();
}

void ReportFile::Close() {
  Flush();
  file_.Reset();
}

}  // namespace tarvex

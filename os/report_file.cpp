#include "os/report_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "os/descriptor_writer.h"
#include "os/trusted_path.h"

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

// Null when the name is no sink's.
Descriptor OpenSink(const Descriptor& folder, const char* name) {
  constexpr int kFlags = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  struct stat about {};
  if (fstatat(folder.Get(), name, &about, AT_SYMLINK_NOFOLLOW) != 0 || !IsSink(about)) return {};
  Descriptor sink(openat(folder.Get(), name, kFlags));
  // Something else may have taken its place in this moment.
  return sink.IsOpen() && fstat(sink.Get(), &about) == 0 && IsSink(about) ? std::move(sink)
                                                                          : Descriptor();
}

}  // namespace

ReportFile::~ReportFile() {
  Close();
}

bool ReportFile::Open(const std::string& path) {
  Close();
  loss_.clear();
  const std::size_t nameStart = path.rfind('/') + 1;  // 0 for a bare name
  Descriptor folder;
  if (OpenFolderOverOwnLinks(nameStart == 0 ? "." : path.substr(0, nameStart), folder) == 0) {
    sink_ = OpenSink(folder, path.c_str() + nameStart);
  }
  if (sink_.IsOpen() || (folder.IsOpen() && OpenFile(std::move(folder), path.substr(nameStart)))) {
    return true;
  }
  Close();
  return false;
}

bool ReportFile::OpenFile(Descriptor folder, const std::string& name) {
  return file_.OpenIn(std::move(folder), name, OnlyFile::Access::kWrite, kReportMode) == 0 &&
         file_.Empty() == 0;
}

void ReportFile::Write(std::string_view text) {
  if (!IsOpen()) return;
  pending_ += text;
  if (pending_.size() >= kBufferSize) Flush();
}

void ReportFile::Flush() {
  if (IsOpen() && !pending_.empty()) {
    const int error = sink_.IsOpen() ? WriteAll(sink_.Get(), pending_.data(), pending_.size())
                                     : file_.Write(pending_);
    if (loss_.empty() && error != 0) {
      loss_ = error == EMLINK ? "the file lost its name, or got another" : std::strerror(error);
    }
  }
  pending_.clear();
}

void ReportFile::Close() {
  Flush();
  sink_.Reset();
  file_ = OnlyFile();
}

}  // namespace tarvex

// A disk image in memory that tells what was written to it, served over FUSE: one file "disk" in a
// mount folder, for a loop device with direct I/O to stand on.
//
//   written_disk MOUNT_FOLDER SIZE_BYTES
//
// Commands come as lines on standard input, and each is answered by a line on standard output:
//
//   log          what was written and flushed since the last "log": "write OFFSET SIZE;" and
//                "flush;", in this order, or "none"
//   fail ERRNO   writes, reads and flushes answer with this errno; 0: they do not any more
//   hang         they wait until "resume" or the end
//   resume
//
// It ends, and takes the mount away, when standard input is closed.
#define FUSE_USE_VERSION 312

#include <fuse.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>

#include "tests/support/served_file.h"

namespace {

constexpr char kFilePath[] = "/disk";

// Guarded by its mutex; FUSE threads and the command thread.
struct Disk {
  std::mutex mutex;
  std::condition_variable changed;
  std::string bytes;
  std::string log;
  int error = 0;
  bool hangs = false;

  // Waits while it hangs; the negative errno of what fails.
  int Enter(std::unique_lock<std::mutex>& lock) {
    changed.wait(lock, [this] { return !hangs; });
    return -error;
  }
} disk;

int GetAttributes(const char* path, struct stat* out, fuse_file_info* /*info*/) {
  *out = {};
  const bool isRoot = std::strcmp(path, "/") == 0;
  if (!isRoot && std::strcmp(path, kFilePath) != 0) return -ENOENT;
  out->st_mode = isRoot ? S_IFDIR | 0700 : S_IFREG | 0600;
  out->st_nlink = 1;
  out->st_size = isRoot ? 0 : static_cast<off_t>(disk.bytes.size());
  return 0;
}

int Open(const char* path, fuse_file_info* info) {
  info->direct_io = 1;
  return std::strcmp(path, kFilePath) == 0 ? 0 : -ENOENT;
}

int Read(const char* /*path*/, char* buffer, size_t size, off_t offset, fuse_file_info* /*info*/) {
  std::unique_lock lock(disk.mutex);
  if (const int error = disk.Enter(lock); error != 0) return error;
  return static_cast<int>(disk.bytes.copy(buffer, size, static_cast<std::size_t>(offset)));
}

int Write(const char* /*path*/, const char* buffer, size_t size, off_t offset,
          fuse_file_info* /*info*/) {
  std::unique_lock lock(disk.mutex);
  if (const int error = disk.Enter(lock); error != 0) return error;
  disk.bytes.replace(static_cast<std::size_t>(offset), size, buffer, size);
  disk.log += "write " + std::to_string(offset) + ' ' + std::to_string(size) + ';';
  return static_cast<int>(size);
}

int Flush(const char* /*path*/, int /*dataOnly*/, fuse_file_info* /*info*/) {
  std::unique_lock lock(disk.mutex);
  if (const int error = disk.Enter(lock); error != 0) return error;
  disk.log += "flush;";
  return 0;
}

std::string Obey(const std::string& line) {
  std::istringstream words(line);
  std::string what;
  words >> what;
  const std::lock_guard lock(disk.mutex);
  if (what == "log") {
    const std::string log = std::exchange(disk.log, "");
    return log.empty() ? "none" : log;
  }
  if (what == "fail") {
    words >> disk.error;
  } else if (what == "hang" || what == "resume") {
    disk.hangs = what == "hang";
    disk.changed.notify_all();
  } else {
    return "error unknown command";
  }
  return "ok";
}

// Runs until standard input ends; then lets everything go and asks FUSE to stop.
void TakeCommands(fuse* server, std::string mountFolder) {
  std::cout << "ready" << std::endl;
  for (std::string line; std::getline(std::cin, line);) std::cout << Obey(line) << std::endl;
  Obey("resume");
  fuse_exit(server);
  // A request wakes the serving thread, so that it sees the end at once.
  [[maybe_unused]] const int ignored = access((mountFolder + "/wake").c_str(), F_OK);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "usage: written_disk MOUNT_FOLDER SIZE_BYTES\n";
    return 2;
  }
  disk.bytes.resize(std::strtoull(arguments[2], nullptr, 10));
  fuse_operations operations{};
  operations.getattr = GetAttributes;
  operations.open = Open;
  operations.read = Read;
  operations.write = Write;
  operations.fsync = Flush;
  return ServeFile(operations, arguments[0], arguments[1], 16, TakeCommands);
}

// A disk image that fails on purpose, served over FUSE: one file "disk" in a mount folder, for a
// loop device with direct I/O to stand on.
//
//   faulty_disk MOUNT_FOLDER SIZE_BYTES
//
// Every byte of a sector is the low byte of its number. Commands come as lines on standard input,
// and each is answered with "ok" or "error REASON" on standard output:
//
//   fail FIRST COUNT ERRNO   reads of these 512-byte sectors answer with this errno
//   heal FIRST COUNT         they can be read again
//   hang FIRST COUNT         reads of these sectors wait until "resume" or the end
//   resume                   lets every waiting read go on, and no further one wait
//   vanish ERRNO             from now on every read answers with this errno
//   reads                    answers with "ok" and the number of read requests so far
//   wait                     answers once a read hangs
//
// It ends, and takes the mount away, when standard input is closed.
#define FUSE_USE_VERSION 312

#include <fuse.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>

#include "tests/support/served_file.h"

namespace {

constexpr std::uint64_t kSectorBytes = 512;
constexpr char kFilePath[] = "/disk";
constexpr unsigned kThreads = 64;  // more than reads can hang at once, so that others still pass
constexpr int kHangs = -1;         // stands in the fault map for "waits"

// What is wrong with the disk. Guarded by its mutex; FUSE threads and the command thread.
class Faults {
 public:
  void Set(std::uint64_t first, std::uint64_t count, int error) {
    const std::lock_guard lock(mutex_);
    for (std::uint64_t sector = first; sector < first + count; ++sector) {
      if (error == 0) {
        bad_.erase(sector);
      } else {
        bad_[sector] = error;
      }
    }
  }

  void Vanish(int error) {
    const std::lock_guard lock(mutex_);
    vanished_ = error;
  }

  void Resume() {
    const std::lock_guard lock(mutex_);
    std::erase_if(bad_, [](const auto& entry) { return entry.second == kHangs; });
    changed_.notify_all();
  }

  // How many bytes of [offset, offset + size) can be read before the first fault, or, when the
  // first byte already lies in one, its negative errno. Waits in a sector that hangs.
  std::int64_t Readable(std::uint64_t offset, std::uint64_t size) {
    std::unique_lock lock(mutex_);
    for (;;) {
      if (vanished_ != 0) return -vanished_;
      const auto fault = bad_.lower_bound(offset / kSectorBytes);
      if (fault == bad_.end() || fault->first * kSectorBytes >= offset + size) {
        return static_cast<std::int64_t>(size);
      }
      if (fault->first * kSectorBytes > offset) {
        return static_cast<std::int64_t>(fault->first * kSectorBytes - offset);
      }
      if (fault->second != kHangs) return -fault->second;
      ++waiting_;
      hangs_.notify_all();
      changed_.wait(lock);
      --waiting_;
    }
  }

  // Returns once a read hangs.
  void AwaitHungRead() {
    std::unique_lock lock(mutex_);
    hangs_.wait(lock, [this] { return waiting_ > 0; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;  // a waiting read may go on
  std::condition_variable hangs_;    // a read begins to wait
  std::map<std::uint64_t, int> bad_;
  int vanished_ = 0;
  int waiting_ = 0;  // reads that hang
};

Faults faults;
std::uint64_t diskBytes = 0;
std::atomic<std::uint64_t> reads{0};

int GetAttributes(const char* path, struct stat* out, fuse_file_info* /*info*/) {
  *out = {};
  if (std::strcmp(path, "/") == 0) {
    out->st_mode = S_IFDIR | 0700;
    out->st_nlink = 2;
    return 0;
  }
  if (std::strcmp(path, kFilePath) != 0) return -ENOENT;
  out->st_mode = S_IFREG | 0600;
  out->st_nlink = 1;
  out->st_size = static_cast<off_t>(diskBytes);
  return 0;
}

int ReadFolder(const char* /*path*/, void* buffer, fuse_fill_dir_t fill, off_t /*offset*/,
               fuse_file_info* /*info*/, fuse_readdir_flags /*flags*/) {
  fill(buffer, kFilePath + 1, nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
  return 0;
}

int Open(const char* path, fuse_file_info* info) {
  if (std::strcmp(path, kFilePath) != 0) return -ENOENT;
  info->direct_io = 1;  // every read of the loop device comes here, none from the page cache
  return 0;
}

int Read(const char* /*path*/, char* buffer, size_t size, off_t offset, fuse_file_info* /*info*/) {
  ++reads;
  const auto start = static_cast<std::uint64_t>(offset);
  if (start >= diskBytes) return 0;
  const std::int64_t readable =
      faults.Readable(start, std::min<std::uint64_t>(size, diskBytes - start));
  for (std::int64_t at = 0; at < readable; ++at) {
    buffer[at] = static_cast<char>((start + static_cast<std::uint64_t>(at)) / kSectorBytes);
  }
  return static_cast<int>(readable);
}

int Write(const char* /*path*/, const char* /*buffer*/, size_t /*size*/, off_t /*offset*/,
          fuse_file_info* /*info*/) {
  return -EROFS;  // nothing in these tests may write
}

std::string Answer(const std::string& line) {
  std::istringstream words(line);
  std::string command;
  std::uint64_t first = 0;
  std::uint64_t count = 0;
  int error = 0;
  words >> command;
  if (command == "fail" && words >> first >> count >> error && error > 0) {
    faults.Set(first, count, error);
  } else if (command == "heal" && words >> first >> count) {
    faults.Set(first, count, 0);
  } else if (command == "hang" && words >> first >> count) {
    faults.Set(first, count, kHangs);
  } else if (command == "resume") {
    faults.Resume();
  } else if (command == "vanish" && words >> error && error > 0) {
    faults.Vanish(error);
  } else if (command == "wait") {
    faults.AwaitHungRead();
  } else if (command == "reads") {
    return "ok " + std::to_string(reads.load());
  } else {
    return "error unknown command: " + line;
  }
  return "ok";
}

// Runs until standard input ends; then lets every read go and asks FUSE to stop.
void TakeCommands(fuse* server, std::string mountFolder) {
  std::cout << "ready" << std::endl;
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << Answer(line) << std::endl;
  }
  faults.Vanish(EIO);
  faults.Resume();
  fuse_exit(server);
  // A request wakes the serving thread, so that it sees the end at once.
  [[maybe_unused]] const int ignored = access((mountFolder + "/wake").c_str(), F_OK);
}

void* Initialise(fuse_conn_info* /*connection*/, fuse_config* config) {
  config->direct_io = 1;
  config->attr_timeout = 3600;
  config->entry_timeout = 3600;
  return nullptr;
}

int Serve(const std::string& mountFolder) {
  fuse_operations operations = {};
  operations.getattr = GetAttributes;
  operations.readdir = ReadFolder;
  operations.open = Open;
  operations.read = Read;
  operations.write = Write;
  operations.init = Initialise;
  const int status = ServeFile(operations, "faulty_disk", mountFolder, kThreads, TakeCommands);
  if (status != 0) std::cerr << "faulty_disk: cannot mount on " << mountFolder << '\n';
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: faulty_disk MOUNT_FOLDER SIZE_BYTES\n";
    return 2;
  }
  diskBytes = std::strtoull(argv[2], nullptr, 10);
  if (diskBytes == 0 || diskBytes % kSectorBytes != 0) {
    std::cerr << "faulty_disk: the size must be a positive multiple of " << kSectorBytes << '\n';
    return 2;
  }
  return Serve(argv[1]);
}

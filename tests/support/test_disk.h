#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <string>

#include "os/descriptor.h"
#include "tests/support/test_folder.h"

// Scarce room, for one test each.

// The largest file that this process may write; beyond it, writing fails as on a full disk.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    handler_ = std::signal(SIGXFSZ, SIG_IGN);
  }
  ~SizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  SizeLimit(const SizeLimit&) = delete;
  SizeLimit& operator=(const SizeLimit&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int) = nullptr;
};

// Mounts of the calling thread's own, which threads that it starts meanwhile share, and the way
// back: beside them the path of the test's own program may be another (/proc/self/exe).
class OwnMounts {
 public:
  OwnMounts()
      : mounts_(open("/proc/thread-self/ns/mnt", O_RDONLY | O_CLOEXEC)),
        root_(open("/", O_PATH | O_CLOEXEC)),
        work_(open(".", O_PATH | O_CLOEXEC)),
        areThere_(unshare(CLONE_NEWNS) == 0 &&
                  mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0) {}
  ~OwnMounts() {
    if (!areThere_) return;
    // Nobody goes back who shares his folders with another thread, as with one that is about to
    // end.
    EXPECT_EQ(unshare(CLONE_FS), 0);
    EXPECT_EQ(setns(mounts_.Get(), CLONE_NEWNS), 0);
    EXPECT_EQ(fchdir(root_.Get()), 0);
    EXPECT_EQ(chroot("."), 0);
    EXPECT_EQ(fchdir(work_.Get()), 0);
  }
  OwnMounts(const OwnMounts&) = delete;
  OwnMounts& operator=(const OwnMounts&) = delete;
  bool AreThere() const { return areThere_; }

 private:
  tarvex::Descriptor mounts_;
  tarvex::Descriptor root_;
  tarvex::Descriptor work_;
  bool areThere_;
};

// A file system of 1 MiB in memory that only the calling thread, and threads that it starts later,
// can see. Only root can have one: a test begins with NEEDS_A_SMALL_DISK.
class SmallDisk {
 public:
  static bool CanBe() {
    static const bool canBe = ChildCanMount();
    return canBe;
  }
  SmallDisk() {
    EXPECT_TRUE(mounts_.AreThere());
    EXPECT_TRUE(Mount(folder_));
    EXPECT_EQ(mkdir(Path().c_str(), 0700), 0);
  }
  ~SmallDisk() { umount2(folder_.Path().c_str(), MNT_DETACH); }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  // An empty folder of the disk.
  std::string Path(const std::string& name) const { return folder_ / ("room/" + name); }
  std::string Path() const { return folder_ / "room"; }
  // Another file takes all the room but so many whole pages; an earlier one gives back its own.
  void Fill(std::int64_t pagesLeft = 0) {
    const std::string text(4096, 'x');
    filler_.Reset(open((folder_ / "filler").c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    off_t size = 0;
    // No more than there can be, lest a disk of the machine be filled.
    while (size < kBytes && write(filler_.Get(), text.data(), text.size()) == 4096) size += 4096;
    EXPECT_EQ(ftruncate(filler_.Get(), size - pagesLeft * 4096), 0);
  }
  void Empty() { EXPECT_EQ(ftruncate(filler_.Get(), 0), 0); }

 private:
  static constexpr off_t kBytes = 1 << 20;
  // A child tries: where only a part succeeds, as in a chroot, a process may be left without /proc.
  static bool ChildCanMount() {
    const pid_t child = fork();
    if (child == 0) _exit(CanMount() ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  }
  static bool CanMount() {
    const TestFolder trial;
    const OwnMounts mounts;
    return mounts.AreThere() && Mount(trial) && umount2(trial.Path().c_str(), MNT_DETACH) == 0;
  }
  static bool Mount(const TestFolder& folder) {
    return mount("none", folder.Path().c_str(), "tmpfs", 0, "size=1m,mode=0700") == 0;
  }

  TestFolder folder_;
  OwnMounts mounts_;
  tarvex::Descriptor filler_;
};

#define NEEDS_A_SMALL_DISK() \
  if (!SmallDisk::CanBe()) GTEST_SKIP() << "a file system cannot be mounted here"

// The room that the file takes on its disk, in bytes.
inline std::int64_t RoomOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_blocks * 512 : -1;
}

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <new>

#include "os/descriptor.h"
#include "os/spool_file.h"
#include "tests/support/test_folder.h"
#include "tests/support/test_lock.h"
#include "tests/support/test_look.h"

namespace {

constexpr off_t kPage = 4096;
constexpr off_t kPages = 4096;
constexpr std::size_t kLimit = 1UL << 30;
constexpr char kName[] = "spool";

// Two runs whose lines differ in length: where one does not fit, the other may.
constexpr std::array<std::size_t, 2> kLengths = {701, 31};

std::string LineOf(std::size_t run, int number) {
  std::string line = std::to_string(run) + ' ' + std::to_string(number) + ' ';
  line.resize(kLengths[run] - 1, '.');
  return line + '\n';
}

// What the processes tell each other.
struct Shared {
  std::atomic<off_t> fillerPages{kPages};
  std::array<std::atomic<int>, 2> added{};
};

// Whoever finds no room gives one page of the filler back, which the other may get.
void AddLines(const std::string& folder, std::size_t run, Shared& shared) {
  for (off_t pages = kPages; pages > 0;) {
    if (tarvex::AppendToSpool(folder, kName, LineOf(run, shared.added[run]), kLimit)) {
      ++shared.added[run];
    } else {
      pages = --shared.fillerPages;
      if (truncate((folder + "/filler").c_str(), std::max<off_t>(pages, 0) * kPage) != 0) return;
    }
  }
}

bool FillDisk(const std::string& folder) {
  const tarvex::Descriptor filler(
      open((folder + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  return posix_fallocate(filler.Get(), 0, kPages * kPage) == 0;
}

// Empty when each line that was said to be added is in the file, whole, once and in its order, and
// nothing else is.
std::string FaultIn(const std::string& folder, const Shared& shared) {
  std::ifstream file(folder + '/' + kName, std::ios::binary);
  std::array<int, 2> found{};
  for (std::string line; std::getline(file, line);) {
    const std::size_t run = line.starts_with("0 ") ? 0 : 1;
    if (file.eof() || line + '\n' != LineOf(run, found[run]++)) return "torn or lost: " + line;
  }
  for (std::size_t run = 0; run < found.size(); ++run) {
    if (found[run] != shared.added[run]) return "the last line was taken back";
    if (found[run] == 0) return "this was no race";
  }
  return {};
}

// Waits until every process that shares this pipe has come here.
void Meet(const std::array<int, 2>& pipe) {
  char none = 0;
  close(pipe[1]);
  [[maybe_unused]] const ssize_t end = read(pipe[0], &none, 1);
}

// In a mount namespace of its own. 0 when all held, 1 when something didn't, 2 when this system
// gives no such namespace.
int Race(const std::string& folder) {
  const std::string size = "size=" + std::to_string(kPages * kPage);
  if (unshare(CLONE_NEWNS) != 0) return 2;
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) != 0) return 2;
  if (mount("none", folder.c_str(), "tmpfs", 0, size.c_str()) != 0) return 2;
  if (!FillDisk(folder)) return 1;
  void* const memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return 2;
  Shared& shared = *new (memory) Shared;
  std::array<int, 2> start{};
  if (pipe2(start.data(), O_CLOEXEC) != 0) return 2;
  std::array<pid_t, 2> runs{};
  for (std::size_t run = 0; run < runs.size(); ++run) {
    runs[run] = fork();
    if (runs[run] == 0) {
      Meet(start);
      AddLines(folder, run, shared);
      _exit(0);
    }
  }
  Meet(start);
  for (const pid_t run : runs) waitpid(run, nullptr, 0);
  const std::string fault = FaultIn(folder, shared);
  std::fputs(fault.c_str(), stderr);
  return fault.empty() ? 0 : 1;
}

// False: refused without a wait. After a wait, which a machine that stalls is reason enough for, it
// is tried again.
bool AddPatiently(const std::string& folder, const std::string& line) {
  using Clock = std::chrono::steady_clock;
  for (;;) {
    const auto start = Clock::now();
    if (tarvex::AppendToSpool(folder, kName, line, kLimit)) return true;
    if (Clock::now() - start < std::chrono::milliseconds(500)) return false;
  }
}

TEST(SpoolRace, RunsThatAddAtOnceWaitForEachOther) {
  constexpr int kRuns = 4;
  constexpr int kLines = 500;
  const TestFolder folder;
  const std::string line(100, 'x');
  std::fflush(nullptr);
  for (int run = 0; run < kRuns; ++run) {
    if (fork() != 0) continue;
    int added = 0;
    while (added < kLines && AddPatiently(folder.Path(), line + '\n')) ++added;
    _exit(added == kLines ? 0 : 1);
  }
  for (int run = 0; run < kRuns; ++run) {
    int status = -1;
    wait(&status);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(std::filesystem::file_size(folder / kName), kRuns * kLines * (line.size() + 1));
}

TEST(SpoolRace, OfTwoRunsOnAFullDiskNoneTearsALineOrTakesBackTheOthers) {
  const TestFolder folder;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) _exit(Race(folder.Path()));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "no file system may be mounted here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(SpoolRace, AFileThatIsTakenAwayMeanwhileGetsNoLineButTheNextOneDoes) {
  const TestFolder folder;
  folder.Write(kName, "one\n");
  beforeLock = [&folder] { std::filesystem::rename(folder / kName, folder / "taken"); };
  EXPECT_TRUE(tarvex::AppendToSpool(folder.Path(), kName, "two\n", kLimit));
  beforeLock = [&folder] { std::filesystem::remove(folder / kName); };
  EXPECT_TRUE(tarvex::AppendToSpool(folder.Path(), kName, "three\n", kLimit));
  EXPECT_EQ(folder.Read("taken"), "one\n");
  EXPECT_EQ(folder.Read(kName), "three\n");
}

// A stranger gives a file of the user's a second name here, and takes it away for each of the looks
// that count names, but not for the one that looks whether the name is there.
TEST(SpoolRace, AFileThatHasThisNameForOneLookOnlyIsNotChanged) {
  const TestFolder folder;
  const std::string own = folder / "own";
  folder.Write("own", "one\n");
  ASSERT_EQ(chmod(own.c_str(), 0644), 0);
  std::filesystem::rename(own, folder / kName);
  beforeLock = [&folder, &own] {
    std::filesystem::create_hard_link(folder / kName, own);
    afterLook = [&folder] { std::filesystem::remove(folder / kName); };
  };
  EXPECT_FALSE(tarvex::AppendToSpool(folder.Path(), kName, "two\n", kLimit));
  EXPECT_EQ(folder.Read("own"), "one\n");
  struct stat status {};
  ASSERT_EQ(stat(own.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

}  // namespace

// Linked into a worker in place of sendmsg: kills it before it says its N-th word, where N stands
// in a file "die_at" beside the program. Once, for the file goes with it.
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>

extern "C" {
ssize_t __real_sendmsg(int socket, const msghdr* message, int flags);
ssize_t __wrap_sendmsg(int socket, const msghdr* message, int flags);
}

namespace {

std::string MarkPath() {
  std::array<char, 4096> path{};
  if (readlink("/proc/self/exe", path.data(), path.size() - 1) <= 0) std::abort();
  const std::string program = path.data();
  return program.substr(0, program.rfind('/')) + "/die_at";
}

int WordToDieAt(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::array<char, 16> text{};
  const bool isThere = file >= 0 && read(file, text.data(), text.size() - 1) > 0;
  if (file >= 0) close(file);
  return isThere ? std::atoi(text.data()) : 0;
}

}  // namespace

ssize_t __wrap_sendmsg(int socket, const msghdr* message, int flags) {
  static const std::string path = MarkPath();
  static const int last = WordToDieAt(path);
  static std::atomic<int> words{0};
  if (++words == last && unlink(path.c_str()) == 0) raise(SIGKILL);
  return __real_sendmsg(socket, message, flags);
}

#include "service/machine/thread_state.h"

#include <fcntl.h>

#include <string>
#include <string_view>

#include "os/descriptor.h"

namespace orvan::machine {

char ThreadState(pid_t thread) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
  const tarvex::Descriptor fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  char text[256];  // the name in parentheses has 64 bytes at most
  const ssize_t got = fd.IsOpen() ? read(fd.Get(), text, sizeof(text)) : -1;
  if (got <= 0) return kUnknown;
  const std::string_view line(text, static_cast<std::size_t>(got));
  // The name may hold anything, parentheses and blanks too.
  const std::size_t end = line.rfind(')');
  return end != line.npos && end + 2 < line.size() ? line[end + 2] : kUnknown;
}

}  // namespace orvan::machine

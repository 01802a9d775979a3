#include "system/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace tarvex {

Descriptor OpenRegularFile(const std::string& path, LastLink lastLink) {
  // Without O_NONBLOCK the open of a pipe waits for a writer.
  const int links = lastLink == LastLink::kRefuse ? O_NOFOLLOW : 0;
  Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | links));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  return file;
}

}  // namespace tarvex

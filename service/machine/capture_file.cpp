#include "service/machine/capture_file.h"

#include <sys/stat.h>

#include <cerrno>

#include "os/only_file.h"

namespace orvan::machine {

int WriteCapture(const std::string& path, const std::string& text) {
  tarvex::OnlyFile file;
  if (const int error = file.Open(path, tarvex::OnlyFile::Access::kWrite, 0600); error != 0)
    return error;
  // It names serial numbers; an older file of that name may have been open to all.
  if (fchmod(file.File().Get(), 0600) != 0) return errno;
  if (const int error = file.Empty(); error != 0) return error;
  return file.Write(text);
}

}  // namespace orvan::machine

#include "os/trusted_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <array>

#include "os/trusted_file.h"

namespace tarvex {
namespace {

// The folder by its descriptor. With the number of the process instead of "self", so that a
// debugger finds the library under the name that the loader knows.
std::string PathThrough(const Descriptor& folder) {
  std::array<char, 32> process{};
  const ssize_t length = readlink("/proc/self", process.data(), process.size() - 1);
  if (length <= 0) return {};
  return std::string("/proc/") + process.data() + "/fd/" + std::to_string(folder.Get()) + '/';
}

// What the loader says, without the library's own name in front, and with the folder's name in
// place of its descriptor.
std::string LoaderFault(const std::string& through, const std::string& name,
                        const std::string& shownFolder) {
  const char* const reason = dlerror();
  std::string text = reason != nullptr ? reason : "cannot be loaded";
  const std::string front = through + name + ": ";
  if (text.compare(0, front.size(), front) == 0) text.erase(0, front.size());
  if (const std::size_t at = text.find(through); at != std::string::npos) {
    text.replace(at, through.size(), shownFolder + '/');
  }
  return text;
}

}  // namespace

void* LoadTrustedLibrary(const Descriptor& folder, const std::string& shownFolder,
                         const std::string& name, std::string& fault) {
  Descriptor file;
  fault = OpenTrustedFile(folder, name, file);
  if (!fault.empty()) return nullptr;
  const std::string through = PathThrough(folder);
  if (through.empty()) {
    fault = "needs /proc";
    return nullptr;
  }
  void* const handle = dlopen((through + name).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) fault = LoaderFault(through, name, shownFolder);
  return handle;
}

}  // namespace tarvex

#include "system/drive_info.h"

#include <dlfcn.h>

#include "os/regular_file.h"
#include "system/standard_error.h"

namespace tarvex {
namespace {

constexpr char kFile[] = "config.ini";
constexpr char kLibrary[] = "libconfig_reader.so";

// Stays once it is loaded. Null where it cannot be.
DriveInfoReader LoadReader(const char* library) {
  void* const handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  void* const reader = handle != nullptr ? dlsym(handle, kDriveInfoReader) : nullptr;
  if (reader == nullptr) {
    const char* const reason = dlerror();
    TellOnStandardError(std::string(kFile) +
                        " is not read: " + (reason != nullptr ? reason : library));
  }
  return reinterpret_cast<DriveInfoReader>(reader);
}

}  // namespace

bool IsDriveInfoEnabled() {
  return IsDriveInfoEnabledBy(kLibrary);
}

bool IsDriveInfoEnabledBy(const char* library) {
  const Descriptor file = OpenRegularFile(kFile, LastLink::kRefuse);
  // What reads it is heavy, and few folders have one.
  if (!file.IsOpen()) return false;
  const DriveInfoReader read = LoadReader(library);
  return read != nullptr && read(file.Get()) != 0;
}

}  // namespace tarvex

#pragma once

#include <cstdint>
#include <string>

#include "os/descriptor.h"

// The few contacts of the service's core with the operating system, all in platform.cpp. Texts are
// UTF-8 paths in the system's own form. Any thread.
namespace orvan::core {

// The folder of the library (or program) that this code is linked into; empty when unknown.
std::string LibraryFolder();

// The number of this process.
std::int32_t ProcessNumber();

// Opens the folder "modules/NAME" of the state folder, and makes it where it is missing. None with
// the reason when it, or one on the way, could be a stranger's. It and "modules" are for their
// owner alone, and closed to others where they were not.
tarvex::Descriptor MakeModuleFolder(const std::string& stateFolder, const std::string& name,
                                    std::string& fault);

// True for an existing folder in which this process may make files.
bool IsWritableFolder(const std::string& path);

// Loads a plug-in out of an open folder (os/trusted_library.h) and finds `entry` in it. Null
// with a one-line reason on failure. What was loaded stays mapped for the life of the process
// unless CloseLibrary is called.
struct LoadedLibrary {
  void* handle = nullptr;
  void* entry = nullptr;
  std::string fault;
};
LoadedLibrary OpenLibrary(const tarvex::Descriptor& folder, const std::string& shownFolder,
                          const std::string& name, const char* entry);
void CloseLibrary(void* handle);

}  // namespace orvan::core

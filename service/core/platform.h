#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The few contacts of the service's core with the operating system, all in platform.cpp. Texts are
// UTF-8 paths in the system's own form. Any thread.
namespace orvan::core {

// The folder of the library (or program) that this code is linked into; empty when unknown.
std::string LibraryFolder();

// A path as the boundary writes it, with "\" or "/" between its parts, in the system's form.
std::string SystemPath(const std::string& path);

// True for an existing folder in which this process may make files.
bool IsWritableFolder(const std::string& path);

// Loads a plug-in and finds `entry` in it. Null with a one-line reason on failure. What was loaded
// stays mapped for the life of the process unless CloseLibrary is called.
struct LoadedLibrary {
  void* handle = nullptr;
  void* entry = nullptr;
  std::string fault;
};
LoadedLibrary OpenLibrary(const std::string& path, const char* entry);
void CloseLibrary(void* handle);

// A file that is only written at its end. Moves, never copies; one thread at a time.
class AppendFile {
 public:
  AppendFile() = default;
  AppendFile(AppendFile&& other) noexcept;
  AppendFile& operator=(AppendFile&& other) noexcept;
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;
  ~AppendFile();

  // Opens or makes (0640) a regular file; a link in its place is refused. False on failure.
  bool Open(const std::string& path, bool truncate);
  bool IsOpen() const { return descriptor_ >= 0; }
  // Writes all of it. False on failure; nothing is kept back.
  bool Write(std::string_view text) const;

 private:
  int descriptor_ = -1;
};

}  // namespace orvan::core

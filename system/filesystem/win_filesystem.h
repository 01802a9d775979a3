#pragma once

#include <string>
#include <vector>

#include "system/filesystem/filesystem.h"

// The filesystem over this system's calls. A backslash and "/" both separate. A path in drive form
// ("C:\...") counts as absolute, and as there are no drives here, names nothing. Any thread.
class WinFilesystem : public Filesystem {
 public:
  // The process-wide filesystem of the option parser, made on first use.
  static WinFilesystem& Instance();

  char GetSystemDrive() override;
  const char* GetWorkingDirectory() override;
  const char* GetExecutablePath() override;
  const char* GetExecutableDirectory() override;
  int ListFiles(const std::string& pattern, std::vector<std::string>& names) override;
  int CreateDirectoryTree(const std::string& path, std::string& result) override;
  int IsInvalidPath(const std::string& path) override;
  int RemoveDirectoryTree(const std::string& path) override;
  int CreateScratchFile(const std::string& path, FileHandle* handle, bool deleteOnClose) override;
  int CloseFile(FileHandle handle) override;
  int ResizeFile(FileHandle handle, std::uint64_t size) override;
  int WriteFileAt(FileHandle handle, std::uint64_t offset, std::size_t size, std::size_t* done,
                  unsigned timeoutSeconds, const void* buffer) override;
  int ReadFileAt(FileHandle handle, std::uint64_t offset, std::size_t size, std::size_t* done,
                 unsigned timeoutSeconds, void* buffer) override;
};

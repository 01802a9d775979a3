#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// An open scratch file. Owned by the filesystem between CreateScratchFile and CloseFile.
struct ScratchFile;
using FileHandle = ScratchFile*;

// Results of WriteFileAt and ReadFileAt.
inline constexpr int kTransferDone = 0;
inline constexpr int kTransferNotStarted = 1;
inline constexpr int kTransferIncomplete = 75;
inline constexpr int kReadTimedOut = 134;
inline constexpr int kWriteTimedOut = 135;

// Files and paths. Texts are UTF-8. Inside the program a path is written with backslashes; "/" is
// understood as well. Main thread.
class Filesystem {
 public:
  virtual ~Filesystem() = default;
  // First character of the mount point of the running system. Cached.
  virtual char GetSystemDrive() = 0;
  // The working directory as it was at the first call, owned by the object; null on failure.
  virtual const char* GetWorkingDirectory() = 0;
  // Full path of the running program, owned by the object; null on failure. Cached.
  virtual const char* GetExecutablePath() = 0;
  // GetExecutablePath cut at its last separator, which goes too. Cached; null on failure.
  virtual const char* GetExecutableDirectory() = 0;
  // Fills `names` with what matches the pattern ("*" and "?" in its last component), each behind
  // the pattern's directory part. 0, or 1 for an empty pattern or no match.
  virtual int ListFiles(const std::string& pattern, std::vector<std::string>& names) = 0;
  // Creates the directory with all its parents; a relative path is taken below
  // GetExecutableDirectory. 0, or 1 and nothing that it made is left. `result` gets the absolute
  // path with its closing separator.
  virtual int CreateDirectoryTree(const std::string& path, std::string& result) = 0;
  // 0 valid, 1 invalid: length below 2 or above 255, a reserved device name as a component, or a
  // component of white space only.
  virtual int IsInvalidPath(const std::string& path) = 0;
  // Removes the directory with all that it holds; links are removed, not followed. 0 or 1.
  virtual int RemoveDirectoryTree(const std::string& path) = 0;
  // Creates a file for unbuffered, synchronous-to-disk transfers; one that exists is replaced. It
  // can't outlive a crash when `deleteOnClose` is set. 0 or 1.
  virtual int CreateScratchFile(const std::string& path, FileHandle* handle,
                                bool deleteOnClose) = 0;
  // 0 or 1. The handle is void afterwards.
  virtual int CloseFile(FileHandle handle) = 0;
  // Ends the file at `size` bytes, sparse. 0 or 1.
  virtual int ResizeFile(FileHandle handle, std::uint64_t size) = 0;
  // One transfer at `offset`, waited for at most `timeoutSeconds`. Results are the kTransfer and
  // k...TimedOut values above; *done gets the bytes moved. Buffer, offset and size are aligned to
  // the logical sector size of the disk. A transfer that timed out may still come to its end, over
  // a private copy of the buffer, and never overtaken by the next one of the file: that begins when
  // it has ended, or times out.
  virtual int WriteFileAt(FileHandle handle, std::uint64_t offset, std::size_t size,
                          std::size_t* done, unsigned timeoutSeconds, const void* buffer) = 0;
  virtual int ReadFileAt(FileHandle handle, std::uint64_t offset, std::size_t size,
                         std::size_t* done, unsigned timeoutSeconds, void* buffer) = 0;

 protected:
  std::optional<char> systemDrive_;
  std::optional<std::string> workingDirectory_;
  std::optional<std::string> executablePath_;
  std::optional<std::string> executableDirectory_;
};

#include "system/filesystem/win_filesystem.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>

#include "boundary/ascii_case.h"
#include "system/system_path.h"

namespace {

constexpr std::size_t kShortestPath = 2;
constexpr std::size_t kLongestPath = 255;
constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

constexpr std::array<std::string_view, 23> kReservedNames = {
    "CON",    "COM1", "COM2", "COM3", "COM4", "COM5", "COM6", "COM7", "COM8", "COM9", "NUL", "PRN",
    "CLOCK$", "AUX",  "LPT1", "LPT2", "LPT3", "LPT4", "LPT5", "LPT6", "LPT7", "LPT8", "LPT9"};

// Guards the cached results of all filesystems: they are few, and asked for seldom.
std::mutex& CacheMutex() {
  static std::mutex mutex;
  return mutex;
}

using PathQuery = std::filesystem::path (*)(std::error_code&);

const char* Cached(std::optional<std::string>& cache, PathQuery query) {
  if (!cache) {
    std::error_code error;
    const std::filesystem::path path = query(error);
    if (error) return nullptr;
    cache = path.string();
  }
  return cache->c_str();
}

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(), tarvex::AsciiUpper);
  return upper;
}

// Only the name's first occurrence counts, whole component or not.
bool HoldsReservedName(std::string_view upperPath, std::string_view name) {
  const std::size_t first = upperPath.find(name);
  if (first == std::string_view::npos) return false;
  const std::size_t end = first + name.size();
  return (first == 0 || tarvex::IsSeparator(upperPath[first - 1])) &&
         (end == upperPath.size() || tarvex::IsSeparator(upperPath[end]));
}

// Separator, white space, separator, without regard to the path's first and last character.
bool HoldsBlankComponent(std::string_view path) {
  const std::string_view inner = path.substr(1, path.size() - 2);
  std::size_t at = inner.find_first_of(tarvex::kSeparators);
  while (at != std::string_view::npos) {
    const std::size_t text = inner.find_first_not_of(kWhiteSpace, at + 1);
    if (text == std::string_view::npos) return false;
    if (text > at + 1 && tarvex::IsSeparator(inner[text])) return true;
    at = inner.find_first_of(tarvex::kSeparators, at + 1);
  }
  return false;
}

}  // namespace

WinFilesystem& WinFilesystem::Instance() {
  static WinFilesystem filesystem;
  return filesystem;
}

char WinFilesystem::GetSystemDrive() {
  const std::lock_guard lock(CacheMutex());
  if (!systemDrive_) systemDrive_ = '/';
  return *systemDrive_;
}

const char* WinFilesystem::GetWorkingDirectory() {
  const std::lock_guard lock(CacheMutex());
  return Cached(workingDirectory_,
                [](std::error_code& error) { return std::filesystem::current_path(error); });
}

const char* WinFilesystem::GetExecutablePath() {
  const std::lock_guard lock(CacheMutex());
  return Cached(executablePath_, [](std::error_code& error) {
    return std::filesystem::read_symlink("/proc/self/exe", error);
  });
}

const char* WinFilesystem::GetExecutableDirectory() {
  const char* const path = GetExecutablePath();
  if (path == nullptr) return nullptr;
  const std::lock_guard lock(CacheMutex());
  if (!executableDirectory_) {
    const std::string_view text(path);
    executableDirectory_ = text.substr(0, text.find_last_of(tarvex::kSeparators));
  }
  return executableDirectory_->c_str();
}

int WinFilesystem::IsInvalidPath(const std::string& path) {
  const std::size_t length = tarvex::PathLength(path);
  if (length < kShortestPath || length > kLongestPath) return 1;
  const std::string upper = UpperCase(path);
  const bool reserved =
      std::any_of(kReservedNames.begin(), kReservedNames.end(),
                  [&upper](std::string_view name) { return HoldsReservedName(upper, name); });
  return reserved || HoldsBlankComponent(path) ? 1 : 0;
}

#include "service/sdk/machine_files.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>

namespace orvan::sdk {
namespace {

constexpr std::size_t kAttributeLimit = 4096;
// Source: path_resolution(7): the kernel follows at most 40 links.
constexpr int kMostLinks = 40;

std::vector<std::string> Components(const std::string& path) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  while (begin < path.size()) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    if (end > begin) parts.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

int& Cleared(int& error) {
  error = 0;
  return error;
}

}  // namespace

std::optional<std::string> MachineFiles::ReadBytes(const std::string& path, std::size_t limit,
                                                   int* error) const {
  int ignored = 0;
  return DoReadBytes(path, limit, Cleared(error != nullptr ? *error : ignored));
}

std::optional<std::string> MachineFiles::ReadAt(const std::string& path, std::uint64_t offset,
                                                std::size_t size, int* error) const {
  int ignored = 0;
  return DoReadAt(path, offset, size, Cleared(error != nullptr ? *error : ignored));
}

std::optional<std::string> MachineFiles::DoReadAt(const std::string& path, std::uint64_t offset,
                                                  std::size_t size, int& error) const {
  const std::uint64_t end = offset + std::min<std::uint64_t>(size, ~offset);
  std::optional<std::string> bytes = DoReadBytes(path, end, error);
  if (bytes) bytes->erase(0, std::min<std::uint64_t>(offset, bytes->size()));
  return bytes;
}

std::optional<std::string> MachineFiles::ReadLink(const std::string& path, int* error) const {
  int ignored = 0;
  return DoReadLink(path, Cleared(error != nullptr ? *error : ignored));
}

std::vector<std::string> MachineFiles::List(const std::string& path, int* error) const {
  int ignored = 0;
  return DoList(path, Cleared(error != nullptr ? *error : ignored));
}

bool MachineFiles::Exists(const std::string& path, int* error) const {
  int ignored = 0;
  return DoExists(path, Cleared(error != nullptr ? *error : ignored));
}

std::string MachineFiles::ReadText(const std::string& path) const {
  static constexpr std::string_view kPadding("\0 \t\r\n", 5);
  const std::string text = ReadBytes(path, kAttributeLimit).value_or(std::string());
  const std::size_t begin = text.find_first_not_of(kPadding);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kPadding) - begin + 1);
}

std::optional<std::uint64_t> MachineFiles::ReadNumber(const std::string& path) const {
  return ParseNumber(ReadText(path));
}

std::optional<std::uint64_t> MachineFiles::ParseNumber(const std::string& text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
  return value;
}

std::string MachineFiles::Resolve(const std::string& path, int* error) const {
  int ignored = 0;
  int& failure = Cleared(error != nullptr ? *error : ignored);
  std::vector<std::string> pending = Components(path);
  std::reverse(pending.begin(), pending.end());
  std::string resolved;
  int links = 0;
  while (!pending.empty()) {
    const std::string part = pending.back();
    pending.pop_back();
    if (part == ".") continue;
    if (part == "..") {
      resolved.erase(std::min(resolved.find_last_of('/'), resolved.size()));
      continue;
    }
    const std::string next = resolved + '/' + part;
    const std::optional<std::string> target = ReadLink(next, &failure);
    if (failure != 0) return {};
    if (!target) {
      resolved = next;
      continue;
    }
    if (++links > kMostLinks) {
      failure = ELOOP;
      return {};
    }
    if (target->starts_with('/')) resolved.clear();
    const std::vector<std::string> parts = Components(*target);
    pending.insert(pending.end(), parts.rbegin(), parts.rend());
  }
  return resolved.empty() ? "/" : resolved;
}

}  // namespace orvan::sdk

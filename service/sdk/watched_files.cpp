#include "service/sdk/watched_files.h"

#include <algorithm>
#include <utility>

namespace orvan::sdk {

std::vector<FileTrouble> WatchedFiles::TakeTroubles() const {
  return std::exchange(troubles_, {});
}

void WatchedFiles::Note(const std::string& path, int error) const {
  const bool isKnown =
      std::any_of(troubles_.begin(), troubles_.end(),
                  [&path](const FileTrouble& trouble) { return trouble.path == path; });
  if (error != 0 && !isKnown) troubles_.push_back({path, error});
}

std::optional<std::string> WatchedFiles::DoReadBytes(const std::string& path, std::size_t limit,
                                                     int& error) const {
  auto bytes = inner_.ReadBytes(path, limit, &error);
  Note(path, error);
  return bytes;
}

std::optional<std::string> WatchedFiles::DoReadAt(const std::string& path, std::uint64_t offset,
                                                  std::size_t size, int& error) const {
  std::optional<std::string> bytes = inner_.ReadAt(path, offset, size, &error);
  Note(path, error);
  return bytes;
}

std::optional<std::string> WatchedFiles::DoReadLink(const std::string& path, int& error) const {
  auto target = inner_.ReadLink(path, &error);
  Note(path, error);
  return target;
}

std::vector<std::string> WatchedFiles::DoList(const std::string& path, int& error) const {
  auto names = inner_.List(path, &error);
  Note(path, error);
  return names;
}

bool WatchedFiles::DoExists(const std::string& path, int& error) const {
  const bool exists = inner_.Exists(path, &error);
  Note(path, error);
  return exists;
}

}  // namespace orvan::sdk

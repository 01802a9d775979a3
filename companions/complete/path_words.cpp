#include "companions/complete/path_words.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

namespace tarvex::complete {

namespace fs = std::filesystem;

void OfferPaths(Answer& answer, const std::string& before, PathKind kind) {
  const std::string path = answer.typed().substr(std::min(before.size(), answer.typed().size()));
  // A relative one counts from another folder than the one the user is in.
  if (path.empty()) answer.Offer(before + "/");
  if (!path.starts_with('/')) return;
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const bool wantsHidden = path.substr(folder.size()).starts_with('.');
  std::vector<std::string> names;
  std::error_code fault;
  for (fs::directory_iterator entry(folder, fault), end; !fault && entry != end;
       entry.increment(fault)) {
    std::error_code ignored;
    const std::string name = entry->path().filename().string();
    const bool isFolder = entry->is_directory(ignored);
    if (!IsPlainName(name) || (name.front() == '.') != wantsHidden) continue;
    if (isFolder || kind == PathKind::kFile) names.push_back(name + (isFolder ? "/" : ""));
  }
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) answer.Offer(before + folder + name);
}

}  // namespace tarvex::complete

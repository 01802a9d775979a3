#include "system/system_path.h"

#include <algorithm>

#include "system/text_conversion.h"

namespace tarvex {
namespace {

bool HasDrive(std::string_view path) {
  return path.size() >= 3 && path.substr(1, 2) == ":\\";
}

}  // namespace

bool IsAbsolutePath(std::string_view path) {
  return (!path.empty() && IsSeparator(path[0])) || HasDrive(path);
}

std::string WithSlashes(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string ToSystemPath(std::string_view path) {
  if (HasDrive(path) || path.find('\0') != std::string_view::npos) return {};
  return WithSlashes(std::string(path));
}

std::size_t PathLength(std::string_view path) {
  return Utf8ToWideLenient(path).size();
}

}  // namespace tarvex

#include "frontend/version_text.h"

#include <initializer_list>

#include "boundary/hostlayer_number_handler.h"
#include "boundary/orvan_service_version.h"

namespace tarvex {

namespace {

constexpr std::uint32_t kMajorMask = 0xFFFF;
constexpr std::uint64_t kBuildMask = 0xFFFFFFFF;

std::string Joined(HostNumberHandler& handler, std::initializer_list<std::int64_t> numbers) {
  std::string text;
  for (const std::int64_t number : numbers) {
    if (!text.empty()) text += ".";
    text += handler.NumberToString(number);
  }
  return text;
}

}  // namespace

std::string VersionText(HostNumberHandler& numbers, const ProductVersion& version) {
  return Joined(numbers, {version.Major(), version.Minor(), version.Patch(), version.Build()});
}

std::string VersionText(HostNumberHandler& numbers, const DiagKey& key) {
  return Joined(numbers, {key.major & kMajorMask, key.minor,
                          static_cast<std::int64_t>(key.build & kBuildMask)});
}

}  // namespace tarvex

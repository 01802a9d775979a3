#include "service/log/log_crash.h"

#include <map>
#include <nlohmann/json.hpp>

namespace orvan::log {
namespace {

using Json = nlohmann::json;

// A member of an object; null when there is none.
const Json* Find(const Json* value, const char* key) {
  if (value == nullptr || !value->is_object()) return nullptr;
  const auto found = value->find(key);
  return found != value->end() ? &*found : nullptr;
}

std::string TextOf(const Json* value) {
  return value != nullptr && value->is_string() ? value->get<std::string>() : std::string();
}

template <typename See>
void ForEachLine(std::string_view tail, See see) {
  while (!tail.empty()) {
    const std::size_t end = tail.find('\n');
    if (end == std::string_view::npos) return;
    see(tail.substr(0, end));
    tail.remove_prefix(end + 1);
  }
}

}  // namespace

bool HasRunEnd(std::string_view tail) {
  std::string_view last;
  ForEachLine(tail, [&last](std::string_view line) { last = line; });
  // Texts of devices cannot look like this: their quotes are escaped.
  return last.find("\"testRunArtifact\":{\"testRunEnd\":{") != std::string_view::npos;
}

std::vector<std::string> OpenSteps(std::string_view tail) {
  std::map<std::string, std::string> open;  // step to name
  ForEachLine(tail, [&open](std::string_view line) {
    if (line.find("\"testStep") == std::string_view::npos) return;
    const Json value = Json::parse(line, nullptr, false);
    const Json* const artifact = Find(&value, "testStepArtifact");
    const std::string step = TextOf(Find(artifact, "testStepId"));
    if (const Json* const start = Find(artifact, "testStepStart")) {
      open[step] = TextOf(Find(start, "name"));
    } else if (Find(artifact, "testStepEnd") != nullptr) {
      open.erase(step);
    } else if (!step.empty()) {
      open.try_emplace(step, "step " + step);  // it began before the tail does
    }
  });
  std::vector<std::string> names;
  for (const auto& [step, name] : open) {
    names.push_back(name);
  }
  return names;
}

}  // namespace orvan::log

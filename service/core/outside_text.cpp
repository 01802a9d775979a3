#include "service/core/outside_text.h"

#include <utility>

namespace orvan::core {
namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

void TakeInLine(std::string& text) {
  text = InLine(std::move(text));
}

void TakeInLine(Pairs& pairs) {
  for (auto& [first, second] : pairs) {
    TakeInLine(first);
    TakeInLine(second);
  }
}

}  // namespace

DeviceInformation InLine(DeviceInformation information) {
  TakeInLine(information.name);
  TakeInLine(information.reserved);
  TakeInLine(information.entries);
  for (auto& [key, value] : information.properties) {
    TakeInLine(value);
  }
  return information;
}

std::vector<DiagResource> InLine(std::vector<DiagResource> resources) {
  for (DiagResource& resource : resources) {
    TakeInLine(resource.type);
    TakeInLine(resource.pairs);
  }
  return resources;
}

std::vector<std::string> InLine(std::vector<std::string> texts) {
  for (std::string& text : texts) {
    TakeInLine(text);
  }
  return texts;
}

std::string InLines(std::string text) {
  return InLine(std::move(text), "\t\n");
}

std::string IdText(const std::string& id) {
  return tarvex::WithoutSteering(id);
}

}  // namespace orvan::core

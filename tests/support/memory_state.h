#pragma once

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <map>
#include <string>

#include "service/sdk/module_state.h"

namespace orvan::sdk::testing {

// A module's own files, in memory. One thread.
class MemoryState final : public ModuleState {
 public:
  std::optional<std::string> Read(const std::string& name, int& error) const override {
    error = ErrorOf(name);
    const auto found = files.find(name);
    if (error != 0 || found == files.end()) return {};
    return found->second;
  }
  int Replace(const std::string& name, const std::string& content) override {
    const int error = ErrorOf(name);
    if (error == 0) files[name] = content;
    return error;
  }
  int Append(const std::string& name, const std::string& content) override {
    const int error = ErrorOf(name);
    if (error == 0) files[name] += content;
    return error;
  }
  int Remove(const std::string& name) override {
    const int error = ErrorOf(name);
    if (error == 0) files.erase(name);
    return error;
  }
  std::vector<std::string> List(int& error) const override {
    const auto found = errors.find("");
    error = found == errors.end() ? 0 : found->second;
    std::vector<std::string> names;
    if (error != 0) return names;
    for (const auto& [name, content] : files) names.push_back(name);
    return names;
  }

  std::map<std::string, std::string> files;
  std::map<std::string, int> errors;  // by name; "": of the folder itself

 private:
  int ErrorOf(const std::string& name) const {
    const bool isName =
        !name.empty() && name.size() <= 128 && name[0] != '.' &&
        std::all_of(name.begin(), name.end(), [](unsigned char c) {
          return c < 0x80 && (std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.');
        });
    if (!isName) return EINVAL;
    const auto found = errors.find(name);
    return found == errors.end() ? 0 : found->second;
  }
};

}  // namespace orvan::sdk::testing

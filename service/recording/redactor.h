#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "service/recording/secrets.h"
#include "service/sdk/machine.h"

namespace orvan::recording {

// Puts stand-ins in the place of the secrets in what a machine answers, and takes them off again in
// what a module asks for, so that it finds again what it was shown. Any thread.
class Redactor {
 public:
  explicit Redactor(const Key& key) : secrets_(key) {}

  // Looks for secrets where machines have them, so that they are known wherever they turn up.
  void LookAround(const sdk::MachineFiles& files);

  std::string Text(const std::string& text);
  // None: it is neither a text nor a page that is known, so nothing can be told of it.
  std::optional<std::string> FileContent(const std::string& path, std::string content);
  // The same of what stands from `begin` on. None, too, of a page whose first bytes are missing.
  std::optional<std::string> FilePart(const std::string& path, std::uint64_t begin,
                                      std::string content);
  // Sorted again.
  std::vector<std::string> Names(const std::string& folder, const std::vector<std::string>& names);
  void CommandData(const sdk::DriveCommand& command, std::vector<std::uint8_t>& data);
  std::string LinkTarget(const std::string& target);
  // A path that a module made of names that it was shown, as the machine has it.
  std::string RevealedPath(const std::string& path) const;
  // What a module asked for, without the secrets that it may know from elsewhere.
  std::string Asked(const std::string& text) const { return secrets_.Hidden(text); }
  std::string HashOf(std::span<const std::byte> bytes) const {
    return recording::HashOf(secrets_.RecordingKey(), bytes);
  }

 private:
  void LearnHost(std::string_view name);
  std::string OwnHost() const;
  Places PlacesIn(std::string_view text, Places places) const;
  std::string Name(const std::string& shown, const std::string& real);

  Secrets secrets_;
  mutable std::mutex mutex_;  // guards what follows
  // Names that were shown, of which nothing else tells what they are on the machine.
  std::map<std::string, std::string> names_;
  std::string host_;  // without its domain
};

}  // namespace orvan::recording

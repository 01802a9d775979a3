#include "service/recording/redactor.h"

#include <algorithm>

#include "service/recording/host_places.h"
#include "service/recording/page_secrets.h"
#include "service/recording/plain_text.h"
#include "service/recording/text_secrets.h"

namespace orvan::recording {
namespace {

constexpr std::size_t kPageBytes = 4096;

bool IsInside(const Place& place, const Places& others) {
  return std::any_of(others.begin(), others.end(), [&place](const Place& other) {
    return other.at <= place.at && place.End() <= other.End();
  });
}

// What stands at the places becomes its stand-in, and what is known becomes it everywhere. Of what
// lies over each other the whole is one secret.
std::string HiddenAt(Secrets& secrets, const std::string& text, const Places& places) {
  const std::string_view whole(text);
  const Places known = secrets.Find(text);
  Places all;
  for (const Place& place : places) {
    if (IsInside(place, known)) continue;
    secrets.Hide(whole.substr(place.at, place.size));
    all.push_back(place);
  }
  // Now that all of them are known.
  for (const Place& place : secrets.Find(text)) all.push_back(place);
  std::string out;
  std::size_t at = 0;
  for (const Place& place : Joined(std::move(all))) {
    out += text.substr(at, place.at - at);
    out += secrets.Hide(whole.substr(place.at, place.size));
    at = place.End();
  }
  return out + text.substr(at);
}

}  // namespace

void Redactor::LookAround(const sdk::MachineFiles& files) {
  const auto look = [&](const std::string& path) {
    if (auto content = files.ReadBytes(path, kPageBytes)) FileContent(path, std::move(*content));
  };
  for (const char* path : {"/etc/machine-id", "/etc/hostname", "/proc/sys/kernel/hostname"}) {
    look(path);
  }
  for (const char* name : {"product_serial", "product_uuid", "board_serial", "board_asset_tag",
                           "chassis_serial", "chassis_asset_tag"}) {
    look(std::string("/sys/class/dmi/id/") + name);
  }
  for (const std::string& name : files.List("/sys/class/net")) {
    look("/sys/class/net/" + name + "/address");
  }
  for (const std::string& name : files.List("/sys/block")) {
    for (const char* file :
         {"/serial", "/wwid", "/eui", "/nguid", "/uuid", "/device/serial", "/device/wwid",
          "/device/cid", "/device/vpd_pg80", "/device/vpd_pg83", "/device/vpd_pg89"}) {
      look("/sys/block/" + name + file);
    }
  }
  for (const char* folder : {"/dev/disk/by-id", "/dev/disk/by-uuid", "/dev/disk/by-partuuid"}) {
    Names(folder, files.List(folder));
  }
}

void Redactor::LearnHost(std::string_view name) {
  secrets_.LearnHost(name);
  const std::lock_guard lock(mutex_);
  host_ = name.substr(0, name.find('.'));
}

std::string Redactor::OwnHost() const {
  const std::lock_guard lock(mutex_);
  return host_;
}

// With the name of the host where a name of volumes begins with it.
Places Redactor::PlacesIn(std::string_view text, Places places) const {
  for (const Place& place : HostsOfVolumes(text, OwnHost())) places.push_back(place);
  return places;
}

std::string Redactor::Text(const std::string& text) {
  return HiddenAt(secrets_, text, PlacesIn(text, SecretsIn(text)));
}

std::optional<std::string> Redactor::FileContent(const std::string& path, std::string content) {
  if (HideInPageFile(secrets_, path, content)) return content;
  if (IsFirmwarePage(path) || !IsPlainText(content)) return {};
  const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
  if (IsHostFile(name)) LearnHost(FirstLine(content));
  return HiddenAt(secrets_, content, PlacesIn(content, SecretsInFile(path, content)));
}

std::optional<std::string> Redactor::FilePart(const std::string& path, std::uint64_t begin,
                                              std::string content) {
  std::string none;
  if (begin != 0 && HideInPageFile(secrets_, path, none)) return {};
  return FileContent(path, std::move(content));
}

namespace {

// Does something with each component of a path, and gives the path of what comes of them.
template <typename Change>
std::string ChangedComponents(const std::string& path, Change change) {
  std::string changed;
  std::size_t begin = 0;
  while (begin <= path.size()) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    changed += (begin == 0 ? "" : "/") + change(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return changed;
}

}  // namespace

std::string Redactor::Name(const std::string& shown, const std::string& real) {
  if (shown != real && secrets_.Revealed(shown) != real) {
    const std::lock_guard lock(mutex_);
    names_[shown] = real;
  }
  return shown;
}

std::string Redactor::LinkTarget(const std::string& target) {
  std::string shown = Text(target);
  // No stand-in has a slash that the secret has not, so the components are the same.
  std::size_t begin = 0;
  ChangedComponents(target, [&](const std::string& real) {
    Name(shown.substr(begin, real.size()), real);
    begin += real.size() + 1;
    return real;
  });
  return shown;
}

std::string Redactor::RevealedPath(const std::string& path) const {
  return ChangedComponents(path, [this](const std::string& name) {
    const std::lock_guard lock(mutex_);
    const auto real = names_.find(name);
    return real == names_.end() ? secrets_.Revealed(name) : real->second;
  });
}

std::vector<std::string> Redactor::Names(const std::string& folder,
                                         const std::vector<std::string>& names) {
  std::vector<std::string> hidden;
  for (const std::string& name : names) {
    Places places = SecretsInName(folder, name);
    if (folder.ends_with("/mapper")) {
      for (const Place& place : HostsOfVolumeName(name, OwnHost())) places.push_back(place);
    }
    hidden.push_back(Name(HiddenAt(secrets_, name, places), name));
  }
  std::sort(hidden.begin(), hidden.end());
  return hidden;
}

void Redactor::CommandData(const sdk::DriveCommand& command, std::vector<std::uint8_t>& data) {
  HideInAnswer(secrets_, command, data);
}

}  // namespace orvan::recording

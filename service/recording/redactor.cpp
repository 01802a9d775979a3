#include "service/recording/redactor.h"

#include <algorithm>

#include "service/recording/page_secrets.h"
#include "service/recording/plain_text.h"
#include "service/recording/text_secrets.h"

namespace orvan::recording {
namespace {

constexpr std::size_t kPageBytes = 4096;

// What stands at the places becomes its stand-in, and what is known becomes it everywhere else.
std::string HiddenAt(Secrets& secrets, const std::string& text, const Places& places) {
  std::vector<std::string> standIns;
  // All of them are known before the first is looked for.
  for (const Place& place : places) {
    standIns.push_back(secrets.Hide(std::string_view(text).substr(place.at, place.size)));
  }
  std::string out;
  std::size_t at = 0;
  for (std::size_t i = 0; i < places.size(); ++i) {
    out += secrets.Hidden(std::string_view(text).substr(at, places[i].at - at)) + standIns[i];
    at = places[i].at + places[i].size;
  }
  return out + secrets.Hidden(std::string_view(text).substr(at));
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

std::string Redactor::Text(const std::string& text) {
  return HiddenAt(secrets_, text, SecretsIn(text));
}

std::optional<std::string> Redactor::FileContent(const std::string& path, std::string content) {
  if (HideInPageFile(secrets_, path, content)) return secrets_.Hidden(content);
  if (IsFirmwarePage(path) || !IsPlainText(content)) return {};
  return HiddenAt(secrets_, content, SecretsInFile(path, content));
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
    hidden.push_back(Name(HiddenAt(secrets_, name, SecretsInName(folder, name)), name));
  }
  std::sort(hidden.begin(), hidden.end());
  return hidden;
}

void Redactor::CommandData(const sdk::DriveCommand& command, std::vector<std::uint8_t>& data) {
  HideInAnswer(secrets_, command, data);
}

}  // namespace orvan::recording
